// The event log's viewer: a window of fixed-width rows pulled from the log through a callback, a
// vertical scroll bar whose value runs 0..100 over the scrollable range, following new lines
// until the user scrolls up, and resuming when the user scrolls back to the last line.
#include "mainwindow/eventlog_view.h"

#include <QApplication>
#include <QCloseEvent>
#include <QFontDatabase>
#include <QPainter>
#include <QScrollBar>
#include <QWidget>
#include <algorithm>
#include <cstring>
#include <string>

#include "platform/dialogs.h"
#include "platform/resfile.h"
#include "shell/diagnostics.h"

namespace {
class EWWindow : public QWidget {
public:
    EWRecord record{};
    bool closing = false;

protected:
    void paintEvent(QPaintEvent *) override
    {
        QPainter painter(this);
        painter.fillRect(rect(), palette().base());
        painter.setPen(palette().text().color());
        painter.setFont(font());
        const EWRecord &r = record;
        for (int row = 0; row < r.rowsDrawn; row++) {
            const char *text = r.textProc ? r.textProc(r.topLine + row, r.textData) : nullptr;
            if (!text)
                continue;
            std::string shown(text, strnlen(text, (size_t)std::max(r.charsPerRow, 0)));
            painter.drawText(r.textLeft, r.firstBaseline + row * r.rowHeight, DLGtext(shown));
        }
    }
    void resizeEvent(QResizeEvent *) override { doGrowEW(&record, width(), height()); }
    void closeEvent(QCloseEvent *event) override
    {
        if (closing)
            return;
        int closed = 0;
        EWWINFO *entry = isEwWindow(this);
        if (EWWtrackGoAway(this, &closed) && closed && entry == myEw)
            myEw = nullptr;
        event->ignore(); // closeEW has already disposed of the window when it was closed
    }
    void changeEvent(QEvent *event) override
    {
        if (event->type() == QEvent::ActivationChange)
            doActivateEW(this, isActiveWindow() ? 1 : 0);
        QWidget::changeEvent(event);
    }
};

// The window template of resource number resNum: its title, then its width and height.
bool windowTemplate(int resNum, QString *title, int *width, int *height)
{
    std::string text = RESload("WIND", resNum, ".txt");
    if (text.empty())
        return false;
    size_t newline = text.find('\n');
    *title = DLGtext(text.substr(0, newline));
    *width = 560;
    *height = 320;
    if (newline != std::string::npos)
        sscanf(text.c_str() + newline + 1, "%d %d", width, height);
    return true;
}

void setScrollValue(EWRecord *r, int value)
{
    QSignalBlocker block(r->sbar);
    r->sbar->setSliderPosition(value);
    r->sbar->setValue(value);
}

int scrollValue(const EWRecord *r)
{
    int range = r->numLines - r->rowsDrawn;
    return range > 0 ? (r->topLine - r->firstLine) * 100 / range : 0;
}

void layoutScrollBar(EWRecord *r, int width, int height)
{
    r->textRect = EWRect{0, 0, (short)height, (short)(width - 16)};
    r->sbarRect = EWRect{-1, (short)(width - 15), (short)(height - 13), (short)width};
    r->sbar->setGeometry(width - 15, -1, 16, std::max(height - 13, 0) + 1);
}
} // namespace

EWRecord *EWrecord(QWidget *window)
{
    auto *w = dynamic_cast<EWWindow *>(window);
    return w ? &w->record : nullptr;
}

QWidget *createEW(int resNum, EWTextProc proc, void *data)
{
    QString title;
    int width, height;
    if (!windowTemplate(resNum, &title, &width, &height)) {
        errormsg("GetNewWindow returned NULL in createEW()");
        return nullptr;
    }
    auto *window = new EWWindow;
    window->setObjectName("eventLogWindow");
    window->setAttribute(Qt::WA_DeleteOnClose, false);
    window->setWindowTitle(title);
    window->resize(width, height);
    QFont fixed = QFontDatabase::systemFont(QFontDatabase::FixedFont);
    fixed.setPointSize(9);
    window->setFont(fixed);
    EWRecord *r = &window->record;
    r->window = window;
    QFontMetrics metrics(fixed);
    r->rowHeight = metrics.ascent() + metrics.descent() + metrics.leading();
    r->charWidth = std::max(metrics.maxWidth(), 1);
    r->textProc = proc;
    r->textData = data;
    r->scrollActions = 0;
    r->sbar = new QScrollBar(Qt::Vertical, window);
    r->sbar->setObjectName("eventLogScrollBar");
    r->sbar->setRange(0, 100);
    r->sbar->setTracking(false);
    layoutScrollBar(r, width, height);
    r->sbar->setEnabled(false);
    r->sbarEnabled = 0;
    QObject::connect(r->sbar, &QAbstractSlider::actionTriggered, window, [r](int action) {
        switch (action) {
        case QAbstractSlider::SliderSingleStepAdd:
            sbaraction(r, kEWDownArrow);
            break;
        case QAbstractSlider::SliderSingleStepSub:
            sbaraction(r, kEWUpArrow);
            break;
        case QAbstractSlider::SliderPageStepSub:
            sbaraction(r, kEWPageUp);
            break;
        case QAbstractSlider::SliderPageStepAdd:
            sbaraction(r, kEWPageDown);
            break;
        default:
            return;
        }
        r->sbar->setSliderPosition(scrollValue(r));
    });
    QObject::connect(r->sbar, &QAbstractSlider::sliderReleased, window,
                     [r] { doThumbEW(r, r->sbar->sliderPosition()); });
    initEW(r);
    return window;
}

void initEW(EWRecord *r)
{
    int textHeight = r->textRect.bottom - r->textRect.top;
    int textWidth = r->textRect.right - r->textRect.left;
    r->rowsFit = r->rowHeight > 0 ? textHeight / r->rowHeight : 0;
    r->charsPerRow = textWidth / r->charWidth - 1;
    r->firstBaseline = r->textRect.top + r->rowHeight - 2;
    r->textLeft = r->textRect.left + 3;
    r->textRect.bottom = (short)(r->textRect.top + r->rowsFit * r->rowHeight);
}

void rePaintEW(EWRecord *r)
{
    if (r->window)
        r->window->update();
}

void paintLines(EWRecord *r, int firstRow, int count)
{
    (void)firstRow;
    (void)count;
    rePaintEW(r); // the platform repaints the rows from the record's state
}

void changeEW(QWidget *window, int first, int count)
{
    EWRecord *r = EWrecord(window);
    if (!r)
        return;
    int oldFirst = r->firstLine, oldCount = r->numLines;
    if (oldFirst < first && r->topLine < first) {
        if (oldFirst + r->rowsDrawn > first && r->rowsFit <= count) {
            r->topLine = first; // the remaining rows scroll up; the last n rows are new
        } else {
            r->topLine = first;
            r->rowsDrawn = std::min(r->rowsFit, count);
        }
    } else if (first + count > oldFirst + oldCount && !r->scrolledAway && !r->hold) {
        int n = first + count - (oldFirst + oldCount);
        if (n < r->rowsFit && r->rowsDrawn + n <= r->rowsFit) {
            r->rowsDrawn += n;
        } else if (n < r->rowsFit) {
            int d = n + r->rowsDrawn - r->rowsFit;
            setScrollValue(r, 100);
            r->topLine += d;
            r->rowsDrawn = r->rowsFit;
        } else {
            r->topLine = first + count - r->rowsFit;
            r->rowsDrawn = r->rowsFit;
        }
    }
    r->firstLine = first;
    r->numLines = count;
    if (!r->sbarEnabled && count > r->rowsFit) {
        r->sbar->setEnabled(true);
        setScrollValue(r, scrollValue(r));
        r->sbarEnabled = 1;
    } else if (r->sbarEnabled && count <= r->rowsFit) {
        r->sbar->setEnabled(false);
        r->sbarEnabled = 0;
    }
    rePaintEW(r);
}

void sbaraction(EWRecord *r, int part)
{
    r->scrollActions++;
    int last = r->firstLine + r->numLines; // one past the last available line
    switch (part) {
    case kEWDownArrow:
        if (r->topLine + r->rowsDrawn < last) {
            r->topLine++;
            if (r->topLine + r->rowsDrawn >= last)
                r->scrolledAway = 0;
        }
        break;
    case kEWUpArrow:
        if (r->topLine > r->firstLine) {
            r->scrolledAway = 1;
            r->topLine--;
        }
        break;
    case kEWPageUp:
        if (r->topLine != r->firstLine) {
            r->scrolledAway = 1;
            r->topLine = std::max(r->firstLine, r->topLine - r->rowsFit);
        }
        break;
    case kEWPageDown:
        if (r->topLine + r->rowsDrawn < last) {
            r->topLine = std::min(r->topLine + r->rowsFit, last - r->rowsFit);
            if (r->topLine + r->rowsDrawn >= last)
                r->scrolledAway = 0;
        }
        break;
    default:
        break;
    }
    setScrollValue(r, scrollValue(r));
    rePaintEW(r);
}

void doThumbEW(EWRecord *r, int value)
{
    if (r->numLines <= r->rowsFit)
        return;
    r->topLine = r->firstLine + value * (r->numLines - r->rowsFit) / 100;
    r->scrolledAway = r->topLine == r->firstLine + r->numLines - r->rowsFit ? 0 : 1;
    rePaintEW(r);
}

void doGrowEW(EWRecord *r, int width, int height)
{
    if (!r->sbar)
        return;
    layoutScrollBar(r, width, height);
    initEW(r);
    if (r->numLines > r->rowsFit) {
        r->sbar->setEnabled(true);
        r->sbarEnabled = 1;
        r->rowsDrawn = r->rowsFit;
        if (!r->scrolledAway)
            r->topLine = r->firstLine + r->numLines - r->rowsFit;
    } else {
        r->sbar->setEnabled(false);
        r->sbarEnabled = 0;
        r->rowsDrawn = r->numLines;
        r->topLine = r->firstLine;
        r->scrolledAway = 0;
    }
    rePaintEW(r);
}

void doUpdateEW(QWidget *window)
{
    if (window)
        window->update();
}

void doActivateEW(QWidget *window, int active)
{
    EWRecord *r = EWrecord(window);
    if (r && r->sbar)
        r->sbar->setVisible(active != 0);
}

void closeEW(QWidget *window)
{
    auto *w = dynamic_cast<EWWindow *>(window);
    if (!w)
        return;
    w->closing = true;
    w->hide();
    w->deleteLater();
}

int EWWnonNullEvent(QObject *target, QEvent *event)
{
    if (!initComplete) {
        BUGprintf("Orvenda VQX ERROR: EWWnonNullEvent() called before EWWinit()");
        return 0;
    }
    if (event->type() == QEvent::ApplicationStateChange && QApplication::applicationState() == Qt::ApplicationActive) {
        for (EWWINFO &entry : EWINFO)
            if (entry.inUse && entry.window)
                doActivateEW((QWidget *)entry.window, 1);
        return 0;
    }
    auto *window = qobject_cast<QWidget *>(target);
    if (!window || !window->isWindow())
        return 0;
    EWWINFO *entry = isEwWindow(window);
    if (!entry)
        return 0;
    switch (event->type()) {
    case QEvent::UpdateRequest:
        doUpdateEW(window);
        return 1;
    case QEvent::WindowActivate:
    case QEvent::WindowDeactivate:
        doActivateEW(window, event->type() == QEvent::WindowActivate ? 1 : 0);
        return 1;
    default:
        return 0;
    }
}

int EWWtrackGoAway(QWidget *window, int *closed)
{
    *closed = 0;
    if (!dynamic_cast<EWWindow *>(window))
        return 0;
    EWWINFO *entry = isEwWindow(window);
    if (!entry || !entry->inUse) {
        BUGprintf("Orvenda VQX ERROR: window not in use! %p", (void *)window);
        return 0;
    }
    EWWunCreate(entry);
    *closed = 1;
    return 1;
}

static void *createViewer(int resNum, EWTextProc proc, void *data)
{
    return createEW(resNum, proc, data);
}

static void changeViewer(void *window, int first, int count)
{
    changeEW((QWidget *)window, first, count);
}

static void closeViewer(void *window)
{
    closeEW((QWidget *)window);
}

static void selectViewer(void *window)
{
    auto *w = (QWidget *)window;
    w->show();
    w->raise();
    w->activateWindow();
}

void EWWinstallViewer(void)
{
    static const EWWviewerOps ops = {createViewer, changeViewer, closeViewer, selectViewer};
    EWWsetViewer(&ops);
}
