// Infrared timings made from the remote description, for tests, benchmarks and demo replay files:
// a button's frame, an NEC-style repeat burst, timing jitter and the replay text.
#ifndef VQX_MAPPER_SYNTH_H
#define VQX_MAPPER_SYNTH_H

#include <cstdint>
#include <string>
#include <vector>

#include "mapper/table.h"

// The durations (µs) of a button's CMD line: alternating mark and space, starting with a mark and
// ending with the trailing gap space. A zero-length half of a token joins its neighbours, as the
// light would; a button without any mark, or a remote without a positive BIT, gives nothing.
std::vector<uint32_t> SYNframe(const MTABtable &t, int button);
// An NEC-style repeat burst in the remote's own units: the frame's first mark, half its first
// space, its shortest mark, then a gap that makes the burst last as long as the whole frame.
std::vector<uint32_t> SYNrepeatBurst(const MTABtable &t, int button);
// Multiplies each duration by (1 + r), r uniform in [-fraction, +fraction], from a generator
// seeded by `seed` (the same seed gives the same result everywhere). Durations stay at least 1.
void SYNjitter(std::vector<uint32_t> *durations, double fraction, uint32_t seed);
// Replay text: "pulse N" and "space N" lines alternating, starting with a pulse.
std::string SYNtext(const std::vector<uint32_t> &durations);

#endif
