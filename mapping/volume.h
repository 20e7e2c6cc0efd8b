// Conversions of system-volume values between the slider (0-400), the system units stored in the
// mapping file and the display units shown as numbers; the fade values; file names of paths.
#ifndef VQX_MAPPING_VOLUME_H
#define VQX_MAPPING_VOLUME_H

#include <cstdint>

extern const int32_t convTable[8]; // fade values by slider step

int32_t convertSetSliderToSystem(int32_t s);
int32_t convertSetSystemToSlider(int32_t v);
int32_t convertSetSystemToDisplay(int32_t v);
int32_t convertSetDisplayToSystem(int32_t d);
int32_t convertChgSliderToSystem(int32_t s);
int32_t convertChgSystemToSlider(int32_t v);
int32_t convertChgSystemToDisplay(int32_t v);
int32_t convertChgDisplayToSystem(int32_t d);
int32_t convertToFadeValue(int32_t s);
int32_t convertFromFadeValue(int32_t f);

// The file name part of a path: what follows its last ":" or "/", whichever comes later (the
// whole path when it has neither). Points into path.
const char *getFileName(const char *path);

#endif
