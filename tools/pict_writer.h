// Writes an image as a picture file (.pic): the 512-byte header, then a version 2 QuickDraw picture
// holding one DirectBitsRect of 32-bit pixels, each row packed as three component planes.
#ifndef VQX_TOOLS_PICT_WRITER_H
#define VQX_TOOLS_PICT_WRITER_H

#include <cstdint>
#include <string>
#include <vector>

// The file's bytes for a width x height image of 0xAARRGGBB pixels (alpha is not stored); an empty
// string when the size cannot be written (width 1 to 4095 except 63 to 66, height 1 to 8192).
std::string PICTWRITEdirect(int width, int height, const std::vector<uint32_t> &pixels);

#endif
