// The event log's viewer: following new lines, scrolling away and back, the ring's reachable
// range, cut rows and the close box.
#include <QScrollBar>
#include <QtTest>

#include "mainwindow/eventlog.h"
#include "mainwindow/eventlog_view.h"
#include "shell/diagnostics.h"
#include "support/window_support.h"

class EventLogViewTest : public QObject {
    Q_OBJECT

    EWWINFO *log = nullptr;
    EWRecord *record() { return EWrecord((QWidget *)log->window); }
    void addLines(int n, int from)
    {
        for (int i = 0; i < n; i++) {
            EWWprintf(log, "line %d", from + i);
            EWWnullEvent();
        }
    }
    int lastAvailable() { return record()->firstLine + record()->numLines - 1; }

private slots:
    void initTestCase()
    {
        WINTESTinit();
        EWWinstallViewer();
    }
    void init()
    {
        EWWreset();
        EWWinit(128);
        log = EWWcreate(100, 100);
        QVERIFY(log);
        QVERIFY(log->window);
        QVERIFY(record()->rowsFit > 5);
    }
    void cleanup()
    {
        EWWunInit();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }

    void windowTakesTitleAndFixedFontFromTemplate()
    {
        auto *window = (QWidget *)log->window;
        QCOMPARE(window->windowTitle(), QString("Event Log"));
        QVERIFY(QFontInfo(window->font()).fixedPitch());
        QCOMPARE(window->font().pointSize(), 9);
    }

    void newLinesAreFollowedAtTheBottom()
    {
        int fit = record()->rowsFit;
        addLines(fit + 10, 0);
        QCOMPARE(record()->rowsDrawn, fit);
        QCOMPARE(record()->topLine + record()->rowsDrawn - 1, lastAvailable());
        QVERIFY(record()->sbar->isEnabled());
        QCOMPARE(record()->sbar->value(), 100);
    }

    void moreThan100LinesLeaveOnlyTheLast100Reachable()
    {
        addLines(250, 0);
        QCOMPARE(record()->numLines, 100);
        QCOMPARE(record()->firstLine, 150);
        QCOMPARE(QString(maketext(record()->firstLine, log)), QString("line 150"));
        addLines(10, 250);
        QCOMPARE(record()->firstLine, 160); // keeps growing
        QCOMPARE(QString(maketext(lastAvailable(), log)), QString("line 259"));
    }

    void scrolledUpViewStaysAndScrollingDownResumesFollowing()
    {
        int fit = record()->rowsFit;
        addLines(fit * 2, 0);
        sbaraction(record(), kEWUpArrow);
        sbaraction(record(), kEWUpArrow);
        QCOMPARE(record()->scrolledAway, 1);
        int top = record()->topLine;
        addLines(5, 1000);
        QCOMPARE(record()->topLine, top); // the view did not move
        while (record()->topLine + record()->rowsDrawn - 1 < lastAvailable())
            sbaraction(record(), kEWDownArrow);
        QCOMPARE(record()->scrolledAway, 0);
        addLines(3, 2000);
        QCOMPARE(record()->topLine + record()->rowsDrawn - 1, lastAvailable()); // following again
    }

    void pageUpStopsAtFirstLineAndPageDownAtLastPage()
    {
        int fit = record()->rowsFit;
        addLines(fit * 3, 0);
        for (int i = 0; i < 10; i++)
            sbaraction(record(), kEWPageUp);
        QCOMPARE(record()->topLine, record()->firstLine);
        QCOMPARE(record()->sbar->value(), 0);
        for (int i = 0; i < 10; i++)
            sbaraction(record(), kEWPageDown);
        QCOMPARE(record()->topLine, lastAvailable() - fit + 1);
        QCOMPARE(record()->scrolledAway, 0);
    }

    void thumbMovesToProportionalLine()
    {
        int fit = record()->rowsFit;
        addLines(fit + 50, 0);
        doThumbEW(record(), 0);
        QCOMPARE(record()->topLine, record()->firstLine);
        QCOMPARE(record()->scrolledAway, 1);
        doThumbEW(record(), 100);
        QCOMPARE(record()->topLine, record()->firstLine + record()->numLines - fit);
        QCOMPARE(record()->scrolledAway, 0);
    }

    void scrollBarDisabledUntilMoreLinesThanRows()
    {
        addLines(2, 0);
        QVERIFY(!record()->sbar->isEnabled());
        QCOMPARE(record()->rowsDrawn, 2);
    }

    void rowShowsAtMostCharactersPerRow()
    {
        auto *window = (QWidget *)log->window;
        window->resize(200, 200);
        QCoreApplication::processEvents();
        int perRow = record()->charsPerRow;
        QCOMPARE(perRow, record()->textRect.right / record()->charWidth - 1);
        EWWprintf(log, "%s", QByteArray(90, 'W').constData());
        EWWnullEvent();
        QImage image = window->grab().toImage();
        // Nothing is drawn to the right of the last character a row may hold.
        int edge = record()->textLeft + (perRow + 1) * record()->charWidth;
        QColor background = image.pixelColor(image.width() - 20, image.height() - 5);
        for (int x = edge; x < record()->textRect.right; x++)
            for (int y = 0; y < record()->rowHeight; y++)
                QCOMPARE(image.pixelColor(x, y), background);
        // ... and something is drawn at the start of the row.
        bool inked = false;
        for (int x = 0; x < record()->textLeft + record()->charWidth * 3 && !inked; x++)
            for (int y = 0; y < record()->rowHeight && !inked; y++)
                inked = image.pixelColor(x, y) != background;
        QVERIFY(inked);
    }

    void growingShowsLastPageUnlessScrolledAway()
    {
        auto *window = (QWidget *)log->window;
        addLines(80, 0);
        window->resize(window->width(), window->height() + 100);
        QCoreApplication::processEvents();
        QCOMPARE(record()->topLine + record()->rowsDrawn - 1, lastAvailable());
    }

    void closeBoxClosesTheLogAndForgetsIt()
    {
        myEw = log;
        auto *window = (QWidget *)log->window;
        window->show();
        window->close();
        QCOMPARE(log->inUse, 0);
        QVERIFY(myEw == nullptr);
    }
};

QTEST_MAIN(EventLogViewTest)
#include "eventlog_view_test.moc"
