// The remote picture window: loads the picture file beside the chosen remote description, enables
// the main window's show-picture button when there is one, and shows it in a window sized to the
// picture at the place remembered in the editor preferences.
#include "mainwindow/remotepict.h"

#include <QCloseEvent>
#include <QImage>
#include <QMoveEvent>
#include <QPainter>
#include <QPointer>
#include <QWidget>
#include <algorithm>
#include <climits>
#include <cstdio>
#include <new>

#include "platform/dialogs.h"
#include "shell/diagnostics.h"
#include "shell/files.h"
#include "shell/prefs.h"

std::vector<uint8_t> *remotePictHdl = nullptr; // the loaded picture data
PictInfo remotePictInfo;                       // its frame, from GetPictInfo
int32_t remotePictAvail = 0;                   // 1 while a picture is loaded
QWidget *ourPictWind = nullptr;                // the open picture window
QWidget *remotePictWind = nullptr;             // the picture window as the main window knows it

static QPointer<QWidget> mainDialog;            // the dialog whose item 21 shows the picture
static REMPICTwindowProc movedHook = nullptr;    // told when the user moved the window
static REMPICTwindowProc closeBoxHook = nullptr; // told when the user clicked its close box

enum { kShowPictItem = 21 };
static const long kLargestPicture = 256L << 20; // larger picture data is more than can be allocated

namespace {

// The window: the decoded picture drawn into its frame on a white ground.
class RemotePictWindow : public QWidget {
public:
    explicit RemotePictWindow(const QImage &picture, QPoint origin)
        : QWidget(nullptr, Qt::Window | Qt::CustomizeWindowHint | Qt::WindowTitleHint | Qt::WindowCloseButtonHint),
          picture_(picture), origin_(origin)
    {
        setAttribute(Qt::WA_QuitOnClose, false);
        setAttribute(Qt::WA_OpaquePaintEvent);
        setWindowTitle(VQX_REMOTE_PICT_TITLE);
    }
    // Places the window's content at `at`, without reporting it as a move of the user's.
    void place(QPoint at, QSize size)
    {
        placing_ = true;
        setFixedSize(size);
        setGeometry(QRect(at, size));
        placing_ = false;
        lastKnown_ = geometry().topLeft();
    }
    void shown() { lastKnown_ = geometry().topLeft(); }

protected:
    void paintEvent(QPaintEvent *) override
    {
        QPainter p(this);
        p.fillRect(rect(), Qt::white);
        p.drawImage(origin_, picture_);
    }
    void moveEvent(QMoveEvent *) override
    {
        QPoint now = geometry().topLeft();
        if (placing_ || now == lastKnown_)
            return;
        lastKnown_ = now;
        if (movedHook) {
            movedHook(this);
        } else {
            REMPICTgetWindowPosition(this, &theConfigPrefs.remoteTop, &theConfigPrefs.remoteLeft);
            prefsChanged = 1;
        }
    }
    void closeEvent(QCloseEvent *event) override
    {
        event->ignore(); // the window is closed by removeRemotePictWind, if at all
        if (closeBoxHook)
            closeBoxHook(this);
        else
            REMPICTcloseBox(this);
    }

private:
    QImage picture_;
    QPoint origin_; // the frame's top-left corner in the window
    QPoint lastKnown_;
    bool placing_ = false;
};

} // namespace

// NewHandle: null when the size is negative or more than can be allocated.
static std::vector<uint8_t> *newHandle(long size)
{
    if (size < 0 || size > kLargestPicture)
        return nullptr;
    try {
        return new std::vector<uint8_t>(size_t(size));
    } catch (const std::bad_alloc &) {
        return nullptr;
    }
}

void checkForRemotePict(const char *remoteName)
{
    removeRemotePictWind();
    remotePictWind = nullptr;
    removeRemotePict();
    remotePictAvail = findRemPictFile(remoteName);
    QWidget *button = mainDialog ? DLGitem(mainDialog, kShowPictItem) : nullptr;
    if (button)
        button->setEnabled(remotePictAvail >= 1);
}

int findRemPictFile(const char *remoteName)
{
    const char *path = VQXFILEremNameToPicBundleName(remoteName, ".pic");
    if (!path) {
        BUGprintf("Orvenda VQX Map Editor ERROR: improper REM file name [%s], can't create .pic file name", remoteName);
        return 0;
    }
    FILE *file = fopen(path, "r");
    if (!file) {
        BUGprintf("Orvenda VQX Map Editor ERROR: unable to open .pic file [%s] for reading", path);
        return 0;
    }
    long length = fseek(file, 0, SEEK_END) == 0 ? ftell(file) : -1;
    long size = length < 0 ? -1 : length - kPictFileHeaderSize;
    remotePictHdl = newHandle(size);
    if (!remotePictHdl) {
        zprintf("findRemPictFile - NewHandle failed, %d", int(std::clamp<long>(size, INT_MIN, INT_MAX)));
        fclose(file);
        return 0;
    }
    size_t got = 0;
    if (size > 0 && fseek(file, kPictFileHeaderSize, SEEK_SET) == 0)
        got = fread(remotePictHdl->data(), 1, size_t(size), file);
    fclose(file);
    if (got != size_t(size)) {
        zprintf("findRemPictFile - FSRead returned %d", int(got));
        return 0;
    }
    int result = GetPictInfo(remotePictHdl->data(), remotePictHdl->size(), &remotePictInfo, 0, 0, 0, 0);
    if (result != 0) {
        zprintf("findRemPictFile - GetPictInfo returned %d", result);
        return 0;
    }
    return 1;
}

QWidget *displayRemotePict(void)
{
    // Data that GetPictInfo refused stays allocated but is no picture to show.
    if (!remotePictHdl || remotePictAvail < 1)
        return nullptr;
    removeRemotePictWind(); // one picture window at a time
    PICTIMAGE decoded;
    PICTdecode(remotePictHdl->data(), remotePictHdl->size(), &decoded);
    QImage picture(decoded.width, decoded.height, QImage::Format_RGB32);
    for (int y = 0; y < decoded.height; y++)
        std::copy_n(&decoded.pixels[size_t(y) * size_t(decoded.width)], decoded.width,
                    reinterpret_cast<QRgb *>(picture.scanLine(y)));
    const PictRect &frame = remotePictInfo.sourceRect;
    auto *window = new (std::nothrow) RemotePictWindow(picture, QPoint(frame.left, frame.top));
    if (!window) {
        zprintf("findRemPictFile - GetNewWindow failed");
        return nullptr;
    }
    ourPictWind = window;
    // Sized to the frame's right and bottom: the frame is taken to start at 0, 0.
    QSize size(std::clamp<int>(frame.right, 1, kPictMaxSide), std::clamp<int>(frame.bottom, 1, kPictMaxSide));
    QPoint at(kRemotePictWindLeft, kRemotePictWindTop);
    if (theConfigPrefs.remoteLeft != 0)
        at = QPoint(theConfigPrefs.remoteLeft, theConfigPrefs.remoteTop);
    window->place(at, size);
    window->show();
    window->raise();
    window->shown();
    return window;
}

void updateRemotePictWind(void)
{
    if (ourPictWind)
        ourPictWind->repaint();
}

void removeRemotePictWind(void)
{
    if (!ourPictWind)
        return;
    QWidget *window = ourPictWind;
    ourPictWind = nullptr;
    window->hide();
    window->deleteLater(); // it may be closing from within its own event
}

void removeRemotePict(void)
{
    delete remotePictHdl;
    remotePictHdl = nullptr;
}

void REMPICTsetMainDialog(QWidget *dialog)
{
    mainDialog = dialog;
}

void REMPICTgetWindowPosition(QWidget *window, int16_t *top, int16_t *left)
{
    QPoint at = window->geometry().topLeft();
    *top = int16_t(std::clamp(at.y(), -32768, 32767));
    *left = int16_t(std::clamp(at.x(), -32768, 32767));
}

void REMPICTsetMovedHook(REMPICTwindowProc proc)
{
    movedHook = proc;
}

void REMPICTsetCloseBoxHook(REMPICTwindowProc proc)
{
    closeBoxHook = proc;
}

void REMPICTcloseBox(QWidget *window)
{
    if (window != ourPictWind)
        return;
    removeRemotePictWind();
    remotePictWind = nullptr;
    theConfigPrefs.remotePictShown = 0;
    prefsChanged = 1;
}

void REMPICTreset(void)
{
    removeRemotePictWind();
    remotePictWind = nullptr;
    removeRemotePict();
    remotePictAvail = 0;
    remotePictInfo = PictInfo{};
    mainDialog = nullptr;
    movedHook = nullptr;
    closeBoxHook = nullptr;
}
