// Reading LIRC's lircd.conf remote definitions: every remote of a file with its timings, flags and
// codes (bit-encoded or raw), as plain values. A pure function over the text; nothing is opened.
#ifndef VQX_MAPPER_LIRCDCONF_H
#define VQX_MAPPER_LIRCDCONF_H

#include <cstdint>
#include <string>
#include <vector>

// The flags of a remote, as lircd names them. RC5 and its old name SHIFT_ENC are one flag.
enum {
    LCF_RAW_CODES = 0x0001,
    LCF_RC5 = 0x0002,
    LCF_RC6 = 0x0004,
    LCF_RCMM = 0x0008,
    LCF_SPACE_ENC = 0x0010,
    LCF_SPACE_FIRST = 0x0020,
    LCF_GRUNDIG = 0x0040,
    LCF_BO = 0x0080,
    LCF_SERIAL = 0x0100,
    LCF_XMP = 0x0200,
    LCF_PROTOCOLS = 0x03FF, // the encoding flags: at most one of them
    LCF_REVERSE = 0x0400,
    LCF_NO_HEAD_REP = 0x0800,
    LCF_NO_FOOT_REP = 0x1000,
    LCF_CONST_LENGTH = 0x2000,
    LCF_REPEAT_HEADER = 0x4000
};

// A button of `begin codes`: its name and one code, or several sent one after the other.
struct LCFcode {
    std::string name;
    std::vector<uint64_t> codes; // as written (REVERSE not applied)
    int line = 0;
};

// A button of `begin raw_codes`: its name and its durations in µs, pulse first.
struct LCFraw {
    std::string name;
    std::vector<uint32_t> durations;
    int line = 0;
};

// One `begin remote` ... `end remote` block. Pairs are written pulse then space, as in the file
// (foot too: lircd sends its space first).
struct LCFremote {
    std::string name;
    int line = 0; // where the block begins
    uint32_t flags = 0;
    int bits = 0;
    int eps = 0;
    int aeps = 0;
    uint32_t phead = 0, shead = 0; // header
    uint32_t pone = 0, sone = 0; // one
    uint32_t pzero = 0, szero = 0; // zero
    uint32_t pfoot = 0, sfoot = 0; // foot
    uint32_t prepeat = 0, srepeat = 0; // repeat
    uint32_t preP = 0, preS = 0; // pre: between pre_data and the data
    uint32_t postP = 0, postS = 0; // post: between the data and post_data
    uint32_t plead = 0;
    uint32_t ptrail = 0;
    int preDataBits = 0;
    uint64_t preData = 0;
    int postDataBits = 0;
    uint64_t postData = 0;
    uint32_t gap = 0;
    uint32_t gap2 = 0;
    uint32_t repeatGap = 0;
    int toggleBit = 0; // the old way to give toggle_bit_mask: bit number counted from the first bit sent
    uint64_t toggleBitMask = 0;
    uint64_t toggleMask = 0;
    uint64_t rc6Mask = 0;
    uint64_t repeatMask = 0;
    uint32_t frequency = 0; // 0: not given
    int minRepeat = 0;
    std::vector<LCFcode> codes;
    std::vector<LCFraw> rawCodes;
    std::vector<std::string> errors; // what makes the block unusable (bad number, unknown flag ...)
    std::vector<std::string> ignored; // lines understood but without effect here, or unknown
};

struct LCFfile {
    std::vector<LCFremote> remotes; // in file order
    std::vector<std::string> errors; // problems outside any remote block ("line 3: ...")
};

// Reads the text of a lircd.conf. Never fails: what cannot be understood is listed in the errors
// of the remote it belongs to, or of the file.
LCFfile LCFparse(const std::string &text);
// The names of the flags set in `flags`, joined with '|'.
std::string LCFflagNames(uint32_t flags);

#endif
