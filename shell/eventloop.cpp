// The event loop: the application-wide filter that offers every event to the action editor and
// routes the rest, the idle chain, quit requests, window positions and modifier keys at start.
#include "shell/eventloop.h"

#include <QApplication>
#include <QCloseEvent>
#include <QKeyEvent>
#include <QListView>
#include <QMainWindow>
#include <QSessionManager>
#include <QSocketNotifier>
#include <QTimer>
#include <csignal>
#include <fcntl.h>
#include <unistd.h>

#include "editor/editdialog.h"
#include "mainwindow/eventlog.h"
#include "mainwindow/maindialog.h"
#include "mainwindow/menus.h"
#include "mainwindow/commands.h"
#include "mainwindow/remotepict.h"
#include "mainwindow/selection.h"
#include "platform/keys.h"
#include "shell/diagnostics.h"
#include "shell/prefs.h"

int32_t done;             // ends the loop
int32_t managerInFront;   // front application
QWidget *activeWind;      // last activated window
uint32_t CmmdKeyOnEntry;  // Super at start
uint32_t OptKeyOnEntry;   // Alt at start
uint32_t ShiftKeyOnEntry; // Shift at start
int32_t VQXIDLEpassCount; // idle passes

static EVTlogEventProc logEvent;     // the event log viewer's event hook
static EVTlogGoAwayProc logGoAway;   // its close button hook
static QObject *router;              // the installed filter
static QTimer *idleTimer;            // runs the idle chain
static int signalPipe[2] = {-1, -1}; // signal handler -> event loop
static QSocketNotifier *signalNotifier;

namespace {
class Router : public QObject {
public:
    bool eventFilter(QObject *watched, QEvent *event) override { return doEvent(watched, event) != 0; }
};
} // namespace

void VQXrecordModifierKeys(void)
{
    Qt::KeyboardModifiers held = QGuiApplication::queryKeyboardModifiers();
    CmmdKeyOnEntry = (held & Qt::MetaModifier) ? 0x8000 : 0;
    OptKeyOnEntry = (held & Qt::AltModifier) ? 0x4 : 0;
    ShiftKeyOnEntry = (held & Qt::ShiftModifier) ? 0x1 : 0;
}

void updateMainWindowPositionConfiguration(void)
{
    if (QMainWindow *window = MAINwindow())
        REMPICTgetWindowPosition(window, &theConfigPrefs.mainTop, &theConfigPrefs.mainLeft);
}

void updateRemoteWindowPositionConfiguration(QWidget *window)
{
    if (window)
        REMPICTgetWindowPosition(window, &theConfigPrefs.remoteTop, &theConfigPrefs.remoteLeft);
}

int myQuitHandler(void)
{
    static bool asking = false; // a second request while the question is up is the same request
    if (asking)
        return 0;
    asking = true;
    doMenuClose();
    asking = false;
    return 0;
}

static void remotePictMoved(QWidget *window)
{
    updateRemoteWindowPositionConfiguration(window);
    prefsChanged = 1;
}

static bool isModifierKey(int key)
{
    return key == Qt::Key_Control || key == Qt::Key_Shift || key == Qt::Key_Alt || key == Qt::Key_Meta ||
           key == Qt::Key_Super_L || key == Qt::Key_Super_R || key == Qt::Key_AltGr;
}

static int keyDown(QWidget *w, QKeyEvent *key)
{
    if (QApplication::activeModalWidget())
        return 0;
    if (key->modifiers() & Qt::ControlModifier) {
        if (isModifierKey(key->key()))
            return 0;
        if (key->isAutoRepeat()) {
            // Only the first press of a held chord is a command; its repeats are plain key-downs.
            if (w && mainDlog && w->window() == mainDlog->window())
                eventMain(w, key);
            return 1;
        }
        updateEntry();
        if (long choice = MenuKey(KEYmenuLetter(key->key(), key->nativeScanCode())))
            doMenuEvent(choice);
        return 1;
    }
    if (w && mainDlog && w->window() == mainDlog->window())
        return eventMain(w, key);
    return 0;
}

static int mouseDown(QWidget *w, QEvent *event)
{
    QWidget *window = w->window();
    if (!mainDlog || window != mainDlog->window())
        return 0;
    if (window != activeWind && event->type() == QEvent::MouseButtonPress)
        window->activateWindow();
    updateEntry();
    return eventMain(w, event);
}

static int closeBox(QWidget *w, QEvent *event)
{
    int closed = 0;
    if (logGoAway && logGoAway(w, event, &closed)) {
        if (closed)
            myEw = nullptr;
        return 1;
    }
    if (w != MAINwindow())
        return 0;
    updateEntry();
    doMenuClose();
    if (done)
        return 0;
    event->ignore();
    return 1;
}

static int activation(QWidget *w, QEvent *event)
{
    if (event->type() == QEvent::WindowActivate)
        activeWind = w;
    if (logEvent && logEvent(w, event))
        return 1;
    if (w == MAINwindow()) {
        if (buttonList)
            buttonList->viewport()->update();
        eventMain(w, event);
    }
    return 0;
}

int doEvent(QObject *target, QEvent *event)
{
    if (doEditDialogEvent(target, event))
        return 1;
    if (event->type() == QEvent::ApplicationStateChange && target == qApp) {
        eventMain(target, event);
        if (logEvent && logEvent(target, event))
            return 0;
        managerInFront = QGuiApplication::applicationState() == Qt::ApplicationActive ? 1 : 0;
        return 0;
    }
    if (!target->isWidgetType())
        return 0;
    auto *w = static_cast<QWidget *>(target);
    switch (event->type()) {
    case QEvent::KeyPress:
        return keyDown(w, static_cast<QKeyEvent *>(event));
    case QEvent::MouseButtonPress:
    case QEvent::MouseButtonDblClick:
    case QEvent::MouseButtonRelease:
    case QEvent::MouseMove:
        return mouseDown(w, event);
    case QEvent::Move:
        if (w == MAINwindow() && MAINwindowMoved()) {
            updateMainWindowPositionConfiguration();
            prefsChanged = 1;
        }
        return 0;
    case QEvent::Resize:
        if (w == mainDlog)
            doGrowMainDlog(w->height(), w->width());
        return 0;
    case QEvent::Close:
        return w->isWindow() ? closeBox(w, event) : 0;
    case QEvent::WindowActivate:
    case QEvent::WindowDeactivate:
        return w->isWindow() ? activation(w, event) : 0;
    default:
        return 0;
    }
}

void VQXIDLEpass(void)
{
    static bool running = false;
    if (running || QApplication::activeModalWidget())
        return;
    running = true;
    VQXIDLEpassCount++;
    doGetButtonFromAPI();
    doEditDialogEvent(nullptr, nullptr);
    eventMain(nullptr, nullptr);
    EWWnullEvent();
    running = false;
}

void VQXIDLErunSoon(void)
{
    QTimer::singleShot(0, qApp, VQXIDLEpass);
}

static void onSignal(int)
{
    char byte = 1;
    ssize_t ignored = write(signalPipe[1], &byte, 1);
    (void)ignored;
}

void VQXEVTinstallQuitHandler(void)
{
    if (signalPipe[0] < 0 && pipe2(signalPipe, O_CLOEXEC | O_NONBLOCK) == 0) {
        signalNotifier = new QSocketNotifier(signalPipe[0], QSocketNotifier::Read);
        QObject::connect(signalNotifier, &QSocketNotifier::activated, signalNotifier, [] {
            char bytes[16];
            while (read(signalPipe[0], bytes, sizeof bytes) > 0) {
            }
            myQuitHandler();
        });
        struct sigaction action = {};
        action.sa_handler = onSignal;
        sigemptyset(&action.sa_mask);
        action.sa_flags = SA_RESTART;
        for (int sig : {SIGTERM, SIGINT, SIGHUP})
            sigaction(sig, &action, nullptr);
    }
    static bool sessionConnected = false;
    if (sessionConnected)
        return;
    sessionConnected = true;
    QObject::connect(qApp, &QGuiApplication::commitDataRequest, qApp, [](QSessionManager &manager) {
        if (!manager.allowsInteraction())
            return;
        myQuitHandler();
        manager.release();
        if (!done)
            manager.cancel();
    });
}

void VQXEVTinstallRouting(void)
{
    if (!router) {
        router = new Router;
        qApp->installEventFilter(router);
    }
    if (!idleTimer) {
        idleTimer = new QTimer;
        idleTimer->setInterval(kIdleTicks * 1000 / 60);
        QObject::connect(idleTimer, &QTimer::timeout, idleTimer, VQXIDLEpass);
        idleTimer->start();
    }
    REMPICTsetMovedHook(remotePictMoved);
}

void VQXEVTrunLoop(void)
{
    while (!done) {
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }
}

void EVTsetLogWindowRouting(EVTlogEventProc nonNullEvent, EVTlogGoAwayProc trackGoAway)
{
    logEvent = nonNullEvent;
    logGoAway = trackGoAway;
}

void EVTreset(void)
{
    delete router;
    router = nullptr;
    delete idleTimer;
    idleTimer = nullptr;
    done = 0;
    managerInFront = 0;
    activeWind = nullptr;
    CmmdKeyOnEntry = OptKeyOnEntry = ShiftKeyOnEntry = 0;
    VQXIDLEpassCount = 0;
    logEvent = nullptr;
    logGoAway = nullptr;
}
