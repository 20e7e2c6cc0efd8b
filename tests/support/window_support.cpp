// Helpers for the window tests.
#include "support/window_support.h"

#include <QApplication>
#include <QTimer>
#include <QWidget>
#include <memory>
#include <string>

#include "platform/resfile.h"
#include "shell/files.h"

void WINTESTinit()
{
    static const std::string programPath = std::string(VQX_APPDIR) + "/vqx-map-editor";
    mainArgs0 = programPath.c_str();
    RESopenBesideProgram(mainArgs0);
}

void WINTESTwhenModal(std::function<void(QWidget *)> fn)
{
    auto *timer = new QTimer;
    auto handler = std::make_shared<std::function<void(QWidget *)>>(std::move(fn));
    timer->setInterval(10);
    QObject::connect(timer, &QTimer::timeout, [timer, handler] {
        QWidget *modal = QApplication::activeModalWidget();
        if (!modal || !modal->isVisible())
            return;
        timer->stop();
        timer->deleteLater();
        (*handler)(modal);
    });
    timer->start();
}
