// The large mapping the benchmarks read: 20 applications of 99 buttons each, every action type.
#ifndef VQX_BENCH_FILES_H
#define VQX_BENCH_FILES_H

#include <string>

enum { kAppls = 20, kButtons = 99 };

// "Button<i>".
std::string BENCHbuttonName(int i);
// The whole mapping file; `script` is the path its script actions name. Entry 1 is *GLOBAL*.
std::string BENCHmapText(const std::string &script);

#endif
