// vqx-make-remote-pict: draws the picture of a remote from its description (.REM: the names after
// "CMD" are its buttons) and writes it as a picture file (.pic) for the map editor's picture window.
// Usage: vqx-make-remote-pict REMOTE.REM OUTPUT.pic [PREVIEW.png]
#include <QFileInfo>
#include <QGuiApplication>
#include <QImage>
#include <QLinearGradient>
#include <QPainter>
#include <QPainterPath>
#include <QRadialGradient>
#include <algorithm>
#include <cstdio>
#include <fstream>
#include <sstream>

#include "pict_writer.h"

namespace {

enum Shape { shapeRound, shapePill, shapeKey, shapeRocker, shapeRing };

// A button as drawn: its shape and place, the names it stands for, and its colour.
struct Placed {
    Shape shape;
    QRectF box;
    QStringList names; // one name; a rocker has two (upper, lower); the ring up to four
    QColor colour;
};

const int kWidth = 240;
const int kBodyLeft = 20, kBodyRight = 220;
const QColor kButton(0x4a, 0x50, 0x5a);
const QColor kLabel(0xb8, 0xbe, 0xc8);

} // namespace

static QStringList readButtonNames(const char *path)
{
    QStringList names;
    std::ifstream in(path);
    std::string line;
    while (std::getline(in, line)) {
        std::istringstream words(line);
        std::string keyword, name;
        if (words >> keyword >> name && keyword == "CMD")
            names << QString::fromStdString(name.substr(0, 31));
    }
    return names;
}

// Takes the names of `wanted` that the remote has, in that order, out of `left`.
static QStringList takeNames(QStringList &left, const QStringList &wanted)
{
    QStringList found;
    for (const QString &name : wanted)
        if (left.removeAll(name) > 0)
            found << name;
    return found;
}

// Places `names` in rows of `perRow` cells of the given size, centred; returns the height used.
static qreal placeGrid(QVector<Placed> &out, const QStringList &names, int perRow, QSizeF cell, qreal gapX,
                       qreal rowHeight, qreal top, Shape shape, QColor colour)
{
    int rows = int((names.size() + perRow - 1) / perRow);
    for (int i = 0; i < names.size(); i++) {
        int row = i / perRow, col = i % perRow;
        int inRow = std::min(perRow, int(names.size()) - row * perRow);
        qreal rowWidth = inRow * cell.width() + (inRow - 1) * gapX;
        qreal x = kWidth / 2.0 - rowWidth / 2 + col * (cell.width() + gapX);
        out.push_back({shape, QRectF(QPointF(x, top + row * rowHeight), cell), {names[i]}, colour});
    }
    return rows * rowHeight;
}

static QVector<Placed> layOut(QStringList left, qreal *bodyBottom)
{
    QVector<Placed> out;
    qreal y = 74;
    QStringList top = takeNames(left, {"Power", "Info", "Eject"});
    if (!top.isEmpty()) {
        for (const QString &name : top) {
            qreal x = name == "Power" ? 40 : name == "Eject" ? 164 : 102;
            QColor c = name == "Power" ? QColor(0xc6, 0x3b, 0x2e) : kButton;
            out.push_back({shapeRound, QRectF(x, y, 36, 36), {name}, c});
        }
        y += 64;
    }
    QStringList ring = takeNames(left, {"Up", "Right", "Down", "Left"});
    QStringList enter = takeNames(left, {"Enter"});
    QStringList corners = takeNames(left, {"Menu", "Back"});
    if (!ring.isEmpty() || !enter.isEmpty()) {
        out.push_back({shapeRing, QRectF(kWidth / 2.0 - 60, y, 120, 120), ring, kButton});
        if (!enter.isEmpty())
            out.push_back({shapeRound, QRectF(kWidth / 2.0 - 24, y + 36, 48, 48), enter, QColor(0x5b, 0x63, 0x70)});
        for (const QString &name : corners) {
            qreal x = name == "Menu" ? 30 : 162;
            out.push_back({shapePill, QRectF(x, y + 112, 48, 22), {name}, kButton});
        }
        y += corners.isEmpty() ? 136 : 158;
    } else if (!corners.isEmpty()) {
        y += placeGrid(out, corners, 2, QSizeF(56, 22), 24, 44, y, shapePill, kButton);
    }
    QStringList media = takeNames(left, {"Rewind", "Play", "FastFwd", "Prev", "Pause", "Next", "Stop", "Record"});
    if (!media.isEmpty())
        y += placeGrid(out, media, 3, QSizeF(36, 36), 22, 58, y, shapeRound, kButton) + 4;
    QStringList vol = takeNames(left, {"VolUp", "VolDown"});
    QStringList chan = takeNames(left, {"ChanUp", "ChanDown"});
    QStringList mute = takeNames(left, {"Mute"});
    if (!vol.isEmpty() || !chan.isEmpty() || !mute.isEmpty()) {
        if (!vol.isEmpty())
            out.push_back({shapeRocker, QRectF(44, y, 38, 92), vol, kButton});
        if (!chan.isEmpty())
            out.push_back({shapeRocker, QRectF(158, y, 38, 92), chan, kButton});
        if (!mute.isEmpty()) { // between the rockers, or in the place of the missing one
            qreal x = !vol.isEmpty() && !chan.isEmpty() ? kWidth / 2.0 - 18 : vol.isEmpty() ? 45 : 159;
            out.push_back({shapeRound, QRectF(x, y + 28, 36, 36), mute, kButton});
        }
        y += 116;
    }
    QStringList colours = takeNames(left, {"Red", "Green", "Yellow", "Blue"});
    if (!colours.isEmpty()) {
        const QColor shades[] = {QColor(0xd0, 0x3a, 0x3a), QColor(0x3a, 0xa8, 0x4c), QColor(0xe0, 0xc0, 0x2c),
                                 QColor(0x3a, 0x6c, 0xd0)};
        int first = out.size();
        y += placeGrid(out, colours, 4, QSizeF(34, 14), 10, 38, y, shapePill, kButton) + 4;
        for (int i = first; i < out.size(); i++) {
            int k = QStringList({"Red", "Green", "Yellow", "Blue"}).indexOf(out[i].names[0]);
            out[i].colour = shades[k];
        }
    }
    QStringList digits = takeNames(left, {"Digit1", "Digit2", "Digit3", "Digit4", "Digit5", "Digit6", "Digit7",
                                          "Digit8", "Digit9", "Digit0"});
    if (!digits.isEmpty())
        y += placeGrid(out, digits, 3, QSizeF(46, 28), 12, 38, y, shapeKey, kButton) + 8;
    if (!left.isEmpty())
        y += placeGrid(out, left, 3, QSizeF(50, 24), 10, 44, y, shapeKey, kButton);
    *bodyBottom = y + 40;
    return out;
}

static void fillButton(QPainter &p, const QPainterPath &path, const QRectF &box, QColor colour)
{
    QLinearGradient g(box.topLeft(), box.bottomLeft());
    g.setColorAt(0, colour.lighter(135));
    g.setColorAt(1, colour.darker(125));
    p.setPen(QPen(QColor(0, 0, 0, 150), 1.2));
    p.setBrush(g);
    p.drawPath(path);
    p.setPen(QPen(QColor(255, 255, 255, 60), 1));
    p.setBrush(Qt::NoBrush);
    p.drawPath(path.translated(0, 0.8).intersected(path));
}

static void triangle(QPainter &p, QPointF c, qreal s, qreal angleDeg)
{
    QTransform t;
    t.translate(c.x(), c.y());
    t.rotate(angleDeg);
    QPolygonF tri({QPointF(s * 0.6, 0), QPointF(-s * 0.45, -s * 0.55), QPointF(-s * 0.45, s * 0.55)});
    p.drawPolygon(t.map(tri));
}

// The symbol of a button of known name; false when it has none (its name is written instead).
static bool drawSymbol(QPainter &p, const QString &name, QPointF c, qreal s)
{
    p.setPen(Qt::NoPen);
    p.setBrush(Qt::white);
    if (name == "Play") {
        triangle(p, c, s, 0);
    } else if (name == "Pause") {
        p.drawRect(QRectF(c.x() - s * 0.4, c.y() - s * 0.45, s * 0.28, s * 0.9));
        p.drawRect(QRectF(c.x() + s * 0.12, c.y() - s * 0.45, s * 0.28, s * 0.9));
    } else if (name == "Stop") {
        p.drawRect(QRectF(c.x() - s * 0.38, c.y() - s * 0.38, s * 0.76, s * 0.76));
    } else if (name == "Record") {
        p.setBrush(QColor(0xe0, 0x3a, 0x3a));
        p.drawEllipse(c, s * 0.4, s * 0.4);
    } else if (name == "Rewind" || name == "FastFwd") {
        qreal dir = name == "Rewind" ? 180 : 0, off = s * 0.28;
        triangle(p, c - QPointF(off, 0), s * 0.8, dir);
        triangle(p, c + QPointF(off, 0), s * 0.8, dir);
    } else if (name == "Prev" || name == "Next") {
        qreal sign = name == "Prev" ? -1 : 1;
        triangle(p, c - QPointF(sign * s * 0.1, 0), s * 0.85, name == "Prev" ? 180 : 0);
        p.drawRect(QRectF(c.x() + sign * s * 0.38 - s * 0.08, c.y() - s * 0.42, s * 0.16, s * 0.84));
    } else if (name == "Eject") {
        triangle(p, c - QPointF(0, s * 0.15), s * 0.9, -90);
        p.drawRect(QRectF(c.x() - s * 0.42, c.y() + s * 0.3, s * 0.84, s * 0.16));
    } else if (name == "Power") {
        p.setPen(QPen(Qt::white, s * 0.14, Qt::SolidLine, Qt::RoundCap));
        p.setBrush(Qt::NoBrush);
        QRectF arc(c.x() - s * 0.42, c.y() - s * 0.36, s * 0.84, s * 0.84);
        p.drawArc(arc, 120 * 16, -300 * 16);
        p.drawLine(c + QPointF(0, -s * 0.52), c + QPointF(0, -s * 0.05));
    } else if (name == "Mute") {
        QPolygonF speaker({QPointF(-0.5, -0.18), QPointF(-0.28, -0.18), QPointF(0, -0.45), QPointF(0, 0.45),
                           QPointF(-0.28, 0.18), QPointF(-0.5, 0.18)});
        QTransform t;
        t.translate(c.x() - s * 0.05, c.y());
        t.scale(s, s);
        p.drawPolygon(t.map(speaker));
        p.setPen(QPen(QColor(0xff, 0x9a, 0x8a), s * 0.1, Qt::SolidLine, Qt::RoundCap));
        p.drawLine(c + QPointF(s * 0.12, -s * 0.18), c + QPointF(s * 0.48, s * 0.18));
        p.drawLine(c + QPointF(s * 0.12, s * 0.18), c + QPointF(s * 0.48, -s * 0.18));
    } else if (name == "Info") {
        p.drawEllipse(c + QPointF(0, -s * 0.32), s * 0.09, s * 0.09);
        p.drawRect(QRectF(c.x() - s * 0.08, c.y() - s * 0.14, s * 0.16, s * 0.56));
    } else {
        return false;
    }
    return true;
}

static void text(QPainter &p, const QRectF &box, const QString &s, int pixelSize, QColor colour, bool bold = false)
{
    QFont f("DejaVu Sans");
    f.setPixelSize(pixelSize);
    f.setBold(bold);
    p.setFont(f);
    p.setPen(colour);
    p.drawText(box, Qt::AlignCenter, s);
}

static void drawPlaced(QPainter &p, const Placed &b)
{
    const QRectF &r = b.box;
    QPointF c = r.center();
    QPainterPath path;
    if (b.shape == shapeRing) {
        QRadialGradient g(c, r.width() / 2);
        g.setColorAt(0.55, QColor(0x2a, 0x2e, 0x34));
        g.setColorAt(1, QColor(0x50, 0x57, 0x62));
        p.setPen(QPen(QColor(0, 0, 0, 160), 1.5));
        p.setBrush(g);
        p.drawEllipse(r);
        for (const QString &name : b.names) {
            int k = QStringList({"Right", "Down", "Left", "Up"}).indexOf(name);
            QPointF dir(k == 0 ? 1 : k == 2 ? -1 : 0, k == 1 ? 1 : k == 3 ? -1 : 0);
            p.setPen(Qt::NoPen);
            p.setBrush(Qt::white);
            triangle(p, c + dir * 50, 10, k * 90);
            QPointF at = dir.y() != 0 ? c + dir * 37 : c + dir * 46 + QPointF(0, 14); // beside the arrow
            text(p, QRectF(at - QPointF(20, 6), QSizeF(40, 12)), name, 8, kLabel);
        }
        return;
    }
    if (b.shape == shapeRound)
        path.addEllipse(r);
    else if (b.shape == shapeKey)
        path.addRoundedRect(r, 7, 7);
    else
        path.addRoundedRect(r, std::min(r.width(), r.height()) / 2, std::min(r.width(), r.height()) / 2);
    fillButton(p, path, r, b.colour);
    const QString &name = b.names[0];
    QRectF below(r.left() - 20, r.bottom() + 2, r.width() + 40, 12);
    if (b.shape == shapeRocker) {
        bool channel = name.startsWith("Chan");
        QRectF upper(r.left(), r.top() + 4, r.width(), 24), lower(r.left(), r.bottom() - 28, r.width(), 24);
        p.setPen(QPen(QColor(0, 0, 0, 90), 1));
        p.drawLine(QPointF(r.left() + 8, c.y()), QPointF(r.right() - 8, c.y()));
        text(p, upper, channel ? QString::fromUtf8("\u25B2") : "+", channel ? 12 : 20, Qt::white, true);
        text(p, lower, channel ? QString::fromUtf8("\u25BC") : QString::fromUtf8("\u2212"), channel ? 12 : 20,
             Qt::white, true);
        text(p, QRectF(r.left(), c.y() - 14, r.width(), 12), channel ? "CH" : "VOL", 9, kLabel, true);
        text(p, QRectF(r.left() - 24, r.top() - 13, r.width() + 48, 12), b.names.value(0), 8, kLabel);
        text(p, QRectF(r.left() - 24, r.bottom() + 2, r.width() + 48, 12), b.names.value(1), 8, kLabel);
        return;
    }
    if (name.startsWith("Digit") && name.size() == 6) {
        text(p, r, name.mid(5), 15, Qt::white, true);
        return;
    }
    bool colourKey = QStringList({"Red", "Green", "Yellow", "Blue"}).contains(name);
    if (!colourKey && b.shape == shapeRound && drawSymbol(p, name, c, r.width() * 0.42)) {
        text(p, below, name, 8, kLabel);
    } else if (colourKey) {
        text(p, below, name, 8, kLabel);
    } else {
        int size = r.width() - 4 < QFontMetrics(QFont("DejaVu Sans", 9)).horizontalAdvance(name) ? 8 : 10;
        text(p, r, name, size, Qt::white, true);
    }
}

static QImage drawRemote(const QStringList &names, const QString &model)
{
    qreal bodyBottom = 0;
    QVector<Placed> placed = layOut(names, &bodyBottom);
    int height = int(bodyBottom) + 20;
    QImage img(kWidth, height, QImage::Format_RGB32);
    img.fill(Qt::white);
    QPainter p(&img);
    p.setRenderHint(QPainter::Antialiasing);
    QRectF body(kBodyLeft, 16, kBodyRight - kBodyLeft, bodyBottom - 16);
    for (int i = 6; i >= 1; i--) { // soft shadow
        p.setPen(Qt::NoPen);
        p.setBrush(QColor(0, 0, 0, 10));
        p.drawRoundedRect(body.translated(3, 4).adjusted(-i, -i, i, i), 40 + i, 40 + i);
    }
    QLinearGradient g(body.topLeft(), body.topRight());
    g.setColorAt(0, QColor(0x2c, 0x30, 0x37));
    g.setColorAt(0.5, QColor(0x3a, 0x3f, 0x48));
    g.setColorAt(1, QColor(0x22, 0x25, 0x2b));
    p.setPen(QPen(QColor(0x12, 0x13, 0x16), 2));
    p.setBrush(g);
    p.drawRoundedRect(body, 40, 40);
    p.setPen(QPen(QColor(255, 255, 255, 40), 1));
    p.setBrush(Qt::NoBrush);
    p.drawRoundedRect(body.adjusted(3, 3, -3, -3), 37, 37);
    QRectF ir(kWidth / 2.0 - 30, 26, 60, 16); // infrared window
    QLinearGradient irg(ir.topLeft(), ir.bottomLeft());
    irg.setColorAt(0, QColor(0x5a, 0x12, 0x1a));
    irg.setColorAt(1, QColor(0x14, 0x02, 0x05));
    p.setPen(QPen(QColor(0, 0, 0), 1));
    p.setBrush(irg);
    p.drawRoundedRect(ir, 8, 8);
    p.setPen(Qt::NoPen);
    p.setBrush(QColor(255, 255, 255, 50));
    p.drawRoundedRect(QRectF(ir.left() + 8, ir.top() + 2, ir.width() - 16, 4), 2, 2);
    text(p, QRectF(kBodyLeft, 48, body.width(), 14), "O R V E N D A", 10, QColor(0xd8, 0xdc, 0xe2), true);
    for (const Placed &b : placed)
        drawPlaced(p, b);
    text(p, QRectF(kBodyLeft, bodyBottom - 30, body.width(), 14), model, 9, QColor(0x8a, 0x92, 0x9e), true);
    return img;
}

int main(int argc, char **argv)
{
    if (argc < 3 || argc > 4) {
        fprintf(stderr, "usage: vqx-make-remote-pict REMOTE.REM OUTPUT.pic [PREVIEW.png]\n");
        return 2;
    }
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);
    QStringList names = readButtonNames(argv[1]);
    if (names.isEmpty()) {
        fprintf(stderr, "vqx-make-remote-pict: no buttons in %s\n", argv[1]);
        return 1;
    }
    QImage img = drawRemote(names, QFileInfo(QString::fromLocal8Bit(argv[1])).completeBaseName());
    std::vector<uint32_t> pixels;
    pixels.reserve(size_t(img.width()) * size_t(img.height()));
    for (int y = 0; y < img.height(); y++) {
        const QRgb *line = reinterpret_cast<const QRgb *>(img.constScanLine(y));
        pixels.insert(pixels.end(), line, line + img.width());
    }
    std::string bytes = PICTWRITEdirect(img.width(), img.height(), pixels);
    FILE *f = bytes.empty() ? nullptr : fopen(argv[2], "wb");
    if (!f || fwrite(bytes.data(), 1, bytes.size(), f) != bytes.size() || fclose(f) != 0) {
        fprintf(stderr, "vqx-make-remote-pict: cannot write %s\n", argv[2]);
        return 1;
    }
    if (argc == 4 && !img.save(QString::fromLocal8Bit(argv[3]), "PNG")) {
        fprintf(stderr, "vqx-make-remote-pict: cannot write %s\n", argv[3]);
        return 1;
    }
    return 0;
}
