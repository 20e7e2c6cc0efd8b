// Icons drawn from SVG only when they are first painted, and the application style that uses them
// for the menu bar's overflow arrow: building a window parses no picture and loads no plugin.
#ifndef VQX_PLATFORM_ICONS_H
#define VQX_PLATFORM_ICONS_H

#include <QIcon>
#include <QImage>

class QSvgRenderer;
class QWidget;

// The renderer's picture drawn as large as fits in `room`, its proportions kept; a null image when
// the renderer holds no picture.
QImage ICONfitted(QSvgRenderer &svg, QSize room);
// An icon of the SVG file `path` (a resource path such as ":/cicn/140.svg"), read at first use.
QIcon ICONsvg(const QString &path);
// An icon of SVG text, parsed at first use.
QIcon ICONsvgText(const QByteArray &svg);
// Gives `window` the icon once it has been painted for the first time, so that rendering the
// icon's sizes for the window system does not delay the window's appearance.
void ICONsetWindowIconWhenShown(QWidget *window, const QIcon &icon);
// Makes the application's style one whose menu bar and tool bar overflow arrows are such icons;
// calling it again keeps the style in place.
void ICONinstallStyle(void);

#endif
