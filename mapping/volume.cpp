// Volume value conversions on 32-bit integers, each division truncating toward zero. Products and
// sums wrap around as 32-bit arithmetic does for values far outside the scales (no overflow trap).
#include "mapping/volume.h"

const int32_t convTable[8] = {1, 2, 3, 4, 5, 10, 20, 60}; // fade values by slider step

static int32_t mul(int32_t a, int32_t b)
{
    return (int32_t)((uint32_t)a * (uint32_t)b);
}

static int32_t add(int32_t a, int32_t b)
{
    return (int32_t)((uint32_t)a + (uint32_t)b);
}

int32_t convertSetSliderToSystem(int32_t s)
{
    return add(mul(s, 255), 255) / 400;
}

int32_t convertSetSystemToSlider(int32_t v)
{
    return mul(v, 400) / 255;
}

int32_t convertSetSystemToDisplay(int32_t v)
{
    return add(mul(v, 100), 100) / 255;
}

int32_t convertSetDisplayToSystem(int32_t d)
{
    return mul(d, 255) / 100;
}

int32_t convertChgSliderToSystem(int32_t s)
{
    return add(mul(s, 510) / 400, -255);
}

int32_t convertChgSystemToDisplay(int32_t v)
{
    // One step away from zero before dividing, so that +-255 shows as +-100 and 0 as 0.
    if (v < 0)
        return add(mul(v, 100), -100) / 255;
    return add(mul(v, 100), 100) / 255;
}

int32_t convertChgSystemToSlider(int32_t v)
{
    return add(mul(2, convertChgSystemToDisplay(v)), 200);
}

int32_t convertChgDisplayToSystem(int32_t d)
{
    return mul(d, 255) / 100;
}

int32_t convertToFadeValue(int32_t s)
{
    int32_t index = mul(s, 7) / 400;
    if (index < 0)
        index = 0;
    if (index > 7)
        index = 7;
    return convTable[index];
}

int32_t convertFromFadeValue(int32_t f)
{
    for (int32_t i = 0; i < 8; i++)
        if (convTable[i] == f)
            return i * 400 / 7;
    return 0;
}

const char *getFileName(const char *path)
{
    const char *name = path;
    for (const char *p = path; *p; p++)
        if (*p == ':' || *p == '/')
            name = p + 1;
    return name;
}
