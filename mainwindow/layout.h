// The main window's geometry arithmetic that needs no display: the resize limits, the column tab
// stops that follow the title column, and the list view cut to whole rows.
#ifndef VQX_MAINWINDOW_LAYOUT_H
#define VQX_MAINWINDOW_LAYOUT_H

#include <cstdint>

// A rectangle as four signed 16-bit values, top, left, bottom, right.
struct MacRect {
    int16_t top;
    int16_t left;
    int16_t bottom;
    int16_t right;
};

enum {
    kGrowExtraHeight = 300, // the window may grow this much taller than designed
    kGrowExtraWidth = 200   // and this much wider
};

// The grow limits from the designed size: top = minimum height, left = minimum width, bottom =
// maximum height, right = maximum width.
MacRect LAYOUTgrowLimits(int designedHeight, int designedWidth);
// A requested content size kept within the limits (height and width in place).
void LAYOUTclampSize(const MacRect *limits, int *height, int *width);

// The column stops that make the title column exactly `titleWidth` wide. stops holds the
// layout of theListOffsets (element 0 the count, 1 to 4 the stops). Returns D, the distance the
// columns right of the title column move left (negative: right); 0 and no change when the width
// is 0.
int LAYOUTfitTitleColumn(int16_t stops[6], int titleWidth);

// Rows of rowHeight that fit in height (rounded down), and the view height they take.
int LAYOUTwholeRows(int height, int rowHeight);
int LAYOUTviewHeight(int height, int rowHeight);

// The content size as the preferences record keeps it (height high, width low), and back.
uint32_t LAYOUTpackSize(int height, int width);
void LAYOUTunpackSize(uint32_t size, int *height, int *width);

#endif
