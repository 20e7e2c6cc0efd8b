// The edit dialog's layouts: the fixed top and every page and volume sub-page carry their numbered
// items, the pages fit in the dialog, and (with VQX_EDITOR_SHOTS set to a folder) each page is
// saved as a picture to look at.
#include "support/editor_window.h"

static const char *layoutMapping()
{
    return "MAPVER 2\n\n"
           "APPL *GLOBAL*\n"
           "ACT Play KEY 00003120 0000 500 150 10 75\n"
           "ACT Stop MOU 00007502 250 50 20 30\n"
           "ACT Menu NO_ACTION\n\n"
           "APPL vlc\n"
           "ACT Play SCR \"/nowhere/Go.scpt\" 500 123 4 100 OVR\n"
           "ACT Stop LAUNCH \"/usr/bin/true\" 0 0 0 0 OVR\n"
           "ACT Menu TXT 5 [hello OVR\n\n"
           "APPL volume\n"
           "ACT Play VOL SET 128 0 0 0 0 1 0 OVR\n"
           "ACT Stop VOL CHG 51 500 77 3 100 0 0 OVR\n"
           "ACT Menu VOL FADE 10 0 0 0 0 0 2 OVR\n";
}

class EditorLayoutTest : public QObject {
    Q_OBJECT
    EditorHarness h;

    void shoot(const char *name)
    {
        QByteArray folder = qgetenv("VQX_EDITOR_SHOTS");
        if (folder.isEmpty())
            return;
        QCoreApplication::processEvents();
        EDITdialog()->grab().save(QString("%1/%2.png").arg(QString::fromUtf8(folder), name));
    }

    // Every item number listed is present in the dialog.
    void expectItems(std::initializer_list<int> items, const char *where)
    {
        for (int n : items)
            QVERIFY2(h.item(n), qPrintable(QString("%1: item %2").arg(where).arg(n)));
    }

    // Every shown item has a size and none sticks out of the dialog.
    void expectInside(const char *where)
    {
        QWidget *dialog = EDITdialog();
        QCoreApplication::processEvents();
        for (QWidget *w : dialog->findChildren<QWidget *>()) {
            if (!w->isVisible() || DLGitemNumber(w) == 0)
                continue;
            QRect r(w->mapTo(dialog, QPoint(0, 0)), w->size());
            QVERIFY2(w->width() > 0 && w->height() > 0,
                qPrintable(QString("%1: item %2 has a size").arg(where).arg(DLGitemNumber(w))));
            QVERIFY2(dialog->rect().contains(r),
                qPrintable(QString("%1: item %2 inside the dialog").arg(where).arg(DLGitemNumber(w))));
        }
    }

private slots:
    void init() { h.start(layoutMapping()); }
    void cleanup() { h.stop(); }

    void fixedTopHasItsItemsAndTheDisableBoxStaysHidden()
    {
        QVERIFY(h.open(theGlobalAppl, h.action(theGlobalAppl, "Menu")));
        expectItems({ 1, 2, 5, 6, 8, 9 }, "fixed top");
        QVERIFY(!h.shown(8));
        QVERIFY(qobject_cast<QDialog *>(EDITdialog()));
        QVERIFY(!static_cast<QDialog *>(EDITdialog())->isModal());
        shoot("noaction");
    }

    void keystrokePageHasItsItems()
    {
        QVERIFY(h.open(theGlobalAppl, h.action(theGlobalAppl, "Play")));
        expectItems({ 12, 13, 14, 15, 16, 17, 18, 19, 20, 21, 22, 23, 24, 25, 26, 27, 28, 29, 30, 31, 32, 33, 34, 35,
                        36, 37, 38, 39, 40, 41, 42, 43, 44, 45 },
            "keystroke");
        expectInside("keystroke");
        shoot("keystroke");
        h.click(39);
        h.click(34);
        expectInside("keystroke advanced");
        shoot("keystroke-advanced");
    }

    void mousePageHasItsItems()
    {
        QVERIFY(h.open(theGlobalAppl, h.action(theGlobalAppl, "Stop")));
        expectItems({ 11, 12, 13, 14, 15, 16, 17, 18, 19, 20, 21, 22, 23, 24, 25, 26, 27, 28, 29, 30, 33, 34, 35, 36,
                        39, 40, 42, 43, 44, 45, 46 },
            "mouse");
        h.click(25);
        expectInside("mouse");
        shoot("mouse");
    }

    void scriptLaunchAndTextPagesHaveTheirItems()
    {
        ApplicationRecord *vlc = h.appl("vlc");
        QVERIFY(h.open(vlc, h.action(vlc, "Play")));
        expectItems(
            { 12, 13, 33, 14, 15, 16, 17, 18, 19, 20, 21, 22, 23, 24, 25, 26, 27, 28, 29, 30, 31, 32, 34 }, "script");
        expectInside("script");
        shoot("script");
        h.choose(9, kPageLaunch);
        expectItems({ 12, 13, 14 }, "launch");
        shoot("launch");
        h.choose(9, kPageTextString);
        expectItems({ 11 }, "text");
        expectInside("text");
        shoot("text");
    }

    void volumePageAndSubPagesHaveTheirItems()
    {
        ApplicationRecord *volume = h.appl("volume");
        QVERIFY(h.open(volume, h.action(volume, "Play")));
        expectItems({ 12, 13, 14, 15, 17, 20, 22 }, "volume set");
        expectInside("volume set");
        shoot("volume-set");
        h.click(13);
        expectItems({ 17, 20, 22, 23, 24, 25, 26, 27, 28, 29, 30, 31, 32, 33, 34, 35, 36, 37, 38, 39, 40, 41, 42 },
            "volume change");
        h.click(37);
        expectInside("volume change");
        shoot("volume-change");
        h.click(14);
        expectItems({ 17, 18, 19 }, "volume mute");
        shoot("volume-mute");
        h.click(15);
        expectItems({ 17, 24, 25, 26, 28 }, "volume fade");
        expectInside("volume fade");
        shoot("volume-fade");
    }
};

QTEST_MAIN(EditorLayoutTest)
#include "editor_layout_test.moc"
