// Icons drawn from SVG only when they are first painted, and the application style that uses them
// for the menu bar's overflow arrow. Qt's own SVG icons and the style's standard arrow go through
// the icon and image plugins, which are looked up and loaded while the window is being built.
#include "platform/icons.h"

#include <QApplication>
#include <QEvent>
#include <QIconEngine>
#include <QPainter>
#include <QPointer>
#include <QProxyStyle>
#include <QStyleOption>
#include <QSvgRenderer>
#include <map>
#include <memory>
#include <tuple>

static QPointer<QStyle> appStyle; // the style installed, while the application keeps it

// The overflow arrows of menu bars and tool bars: two chevrons, right or down.
static const char kArrowRight[] =
    "<svg xmlns='http://www.w3.org/2000/svg' width='16' height='16' viewBox='0 0 16 16'>"
    "<path d='M3 3l5 5-5 5M8 3l5 5-5 5' fill='none' stroke='#404040' stroke-width='1.6'/></svg>";
static const char kArrowDown[] =
    "<svg xmlns='http://www.w3.org/2000/svg' width='16' height='16' viewBox='0 0 16 16'>"
    "<path d='M3 3l5 5 5-5M3 8l5 5 5-5' fill='none' stroke='#404040' stroke-width='1.6'/></svg>";

// Renders its SVG, file or text, at each size asked for and keeps what it rendered.
class LazySvgEngine : public QIconEngine {
public:
    LazySvgEngine(const QString &file, const QByteArray &svg) : path(file), text(svg) {}

    void paint(QPainter *painter, const QRect &rect, QIcon::Mode mode, QIcon::State state) override
    {
        qreal ratio = painter->device() ? painter->device()->devicePixelRatioF() : 1.0;
        painter->drawPixmap(rect, pixmap(rect.size() * ratio, mode, state));
    }

    QSize actualSize(const QSize &size, QIcon::Mode, QIcon::State) override { return size; }

    QPixmap pixmap(const QSize &size, QIcon::Mode mode, QIcon::State state) override
    {
        if (size.isEmpty())
            return QPixmap();
        auto key = std::make_tuple(size.width(), size.height(), int(mode), int(state));
        auto found = rendered.find(key);
        if (found != rendered.end())
            return found->second;
        QPixmap result = QPixmap::fromImage(render(size));
        if (mode != QIcon::Normal && QApplication::instance()) {
            QStyleOption option(0);
            option.palette = QGuiApplication::palette();
            result = QApplication::style()->generatedIconPixmap(mode, result, &option);
        }
        rendered[key] = result;
        return result;
    }

    QIconEngine *clone() const override { return new LazySvgEngine(path, text); }
    QString key() const override { return QStringLiteral("vqx-lazy-svg"); }

private:
    // The picture centred in `size` with its proportions kept; transparent where it draws nothing.
    QImage render(const QSize &size)
    {
        if (!renderer) {
            renderer = std::make_unique<QSvgRenderer>();
            if (path.isEmpty())
                renderer->load(text);
            else
                renderer->load(path);
        }
        QImage image(size, QImage::Format_ARGB32_Premultiplied);
        image.fill(Qt::transparent);
        QImage fitted = ICONfitted(*renderer, size);
        if (!fitted.isNull()) {
            QPainter painter(&image);
            painter.drawImage((size.width() - fitted.width()) / 2, (size.height() - fitted.height()) / 2, fitted);
        }
        return image;
    }

    QString path;
    QByteArray text;
    std::unique_ptr<QSvgRenderer> renderer;
    std::map<std::tuple<int, int, int, int>, QPixmap> rendered;
};

// The platform's style with the overflow arrows above.
class AppStyle : public QProxyStyle {
public:
    QIcon standardIcon(StandardPixmap which, const QStyleOption *option, const QWidget *widget) const override
    {
        if (which == SP_ToolBarHorizontalExtensionButton)
            return ICONsvgText(QByteArray(kArrowRight));
        if (which == SP_ToolBarVerticalExtensionButton)
            return ICONsvgText(QByteArray(kArrowDown));
        return QProxyStyle::standardIcon(which, option, widget);
    }
};

// Sets the icon after the window's first paint: the window has been mapped by then.
class IconOnFirstPaint : public QObject {
public:
    IconOnFirstPaint(QWidget *window, const QIcon &chosen) : QObject(window), icon(chosen) {}

    bool eventFilter(QObject *watched, QEvent *event) override
    {
        if (event->type() == QEvent::Paint && watched == parent()) {
            watched->removeEventFilter(this);
            QPointer<QWidget> window = qobject_cast<QWidget *>(watched);
            QIcon chosen = icon;
            // Not while the window paints: once the paint is over.
            QMetaObject::invokeMethod(
                this,
                [window, chosen, this] {
                    if (window)
                        window->setWindowIcon(chosen);
                    deleteLater();
                },
                Qt::QueuedConnection);
        }
        return false;
    }

private:
    QIcon icon;
};

QImage ICONfitted(QSvgRenderer &svg, QSize room)
{
    QSize size = svg.defaultSize();
    if (!svg.isValid() || size.isEmpty() || room.isEmpty())
        return QImage();
    size.scale(room, Qt::KeepAspectRatio);
    QImage image(size, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    svg.render(&painter);
    return image;
}

QIcon ICONsvg(const QString &path)
{
    return QIcon(new LazySvgEngine(path, QByteArray()));
}

QIcon ICONsvgText(const QByteArray &svg)
{
    return QIcon(new LazySvgEngine(QString(), svg));
}

void ICONsetWindowIconWhenShown(QWidget *window, const QIcon &icon)
{
    if (window)
        window->installEventFilter(new IconOnFirstPaint(window, icon));
}

void ICONinstallStyle(void)
{
    if (appStyle && QApplication::style() == appStyle)
        return;
    appStyle = new AppStyle;
    QApplication::setStyle(appStyle);
}
