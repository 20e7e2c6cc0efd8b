// Raw infrared timings as the receiver gives them: the 32-bit words of a LIRC_MODE2 device, and
// the text of `mode2` and `ir-ctl -r` recordings that the replay source reads.
#ifndef VQX_MAPPER_SAMPLES_H
#define VQX_MAPPER_SAMPLES_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

enum SMPkind { SMP_PULSE, SMP_SPACE, SMP_TIMEOUT, SMP_FREQUENCY, SMP_OVERFLOW, SMP_UNKNOWN };

struct SMPsample {
    SMPkind kind = SMP_UNKNOWN;
    uint32_t value = 0; // microseconds (Hz for SMP_FREQUENCY)
};

// The largest value a word (and a line of text) can carry: 24 bits.
constexpr uint32_t SMP_MAX_VALUE = 0xFFFFFF;

// A LIRC_MODE2 word: the type in the top 8 bits (0x00 space, 0x01 pulse, 0x02 frequency,
// 0x03 timeout, 0x04 overflow; anything else SMP_UNKNOWN), the value in the low 24 bits.
SMPsample SMPfromWord(uint32_t word);
// The word for a sample; values above 24 bits are clamped, SMP_UNKNOWN gets type 0xFF.
uint32_t SMPtoWord(const SMPsample &s);

// One line of replay text (with or without its line end): "pulse N", "space N", "timeout N",
// "carrier N" or "frequency N", or one of ir-ctl's "+N" (pulse) / "-N" (space) tokens, N in
// 1..16777215. Blank lines and '#' comments give nothing; a comment may also follow a sample.
// Returns 1 with *out filled, 0 when the line holds no sample, -1 for a bad line with *error set
// to a short reason (also for a line holding several samples: see SMPparseSamples).
int SMPparseLine(const char *line, size_t length, SMPsample *out, std::string *error);
// The same for a line that may hold several samples, as ir-ctl writes them ("+9000 -4500 +560 ...";
// word forms may follow one another too). Appends them to *out and returns how many; -1 for a bad
// line with *error set and nothing appended.
int SMPparseSamples(const char *line, size_t length, std::vector<SMPsample> *out, std::string *error);

#endif
