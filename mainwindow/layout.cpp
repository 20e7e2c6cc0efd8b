// The main window's geometry arithmetic: resize limits, title column fitting, whole rows.
#include "mainwindow/layout.h"

MacRect LAYOUTgrowLimits(int designedHeight, int designedWidth)
{
    MacRect limits;
    limits.top = (int16_t)designedHeight;
    limits.left = (int16_t)designedWidth;
    limits.bottom = (int16_t)(designedHeight + kGrowExtraHeight);
    limits.right = (int16_t)(designedWidth + kGrowExtraWidth);
    return limits;
}

void LAYOUTclampSize(const MacRect *limits, int *height, int *width)
{
    if (*height < limits->top)
        *height = limits->top;
    if (*height > limits->bottom)
        *height = limits->bottom;
    if (*width < limits->left)
        *width = limits->left;
    if (*width > limits->right)
        *width = limits->right;
}

int LAYOUTfitTitleColumn(int16_t stops[6], int titleWidth)
{
    if (titleWidth == 0)
        return 0;
    int16_t d = (int16_t)(stops[3] - stops[2] - titleWidth);
    stops[3] = (int16_t)(stops[3] - d);
    stops[4] = (int16_t)(stops[4] - d);
    return d;
}

int LAYOUTwholeRows(int height, int rowHeight)
{
    if (rowHeight <= 0 || height <= 0)
        return 0;
    return height / rowHeight;
}

int LAYOUTviewHeight(int height, int rowHeight)
{
    return LAYOUTwholeRows(height, rowHeight) * rowHeight;
}

uint32_t LAYOUTpackSize(int height, int width)
{
    return ((uint32_t)(uint16_t)height << 16) | (uint16_t)width;
}

void LAYOUTunpackSize(uint32_t size, int *height, int *width)
{
    *height = (int)(size >> 16);
    *width = (int)(size & 0xFFFF);
}
