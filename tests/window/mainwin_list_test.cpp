// The main window's layout and button list: designed size and grow limits, the title column and
// its stops, whole rows, the ellipsis, the saved application index, the remote picture window.
#include <QPainter>

#include "support/mainwin_window.h"

class MainWindowListTest : public QObject {
    Q_OBJECT
    TempConfigHome *home = nullptr;
    RecordingPresenter presenter;

    QWidget *item(int n) { return DLGitem(mainDlog, n); }

private slots:
    void init()
    {
        home = new TempConfigHome;
        PRESset(&presenter);
        presenter.clear();
        QCOMPARE(MWTESTstart(*home, false), 0);
    }
    void cleanup()
    {
        MWTESTreset();
        PRESset(nullptr);
        delete home;
        home = nullptr;
    }

    void dialogHasEveryNumberedItem()
    {
        for (int n : {1, 2, 3, 4, 5, 6, 8, 9, 11, 12, 14, 15, 17, 18, 19, 20, 21, 23, 24, 25, 26, 27, 28})
            QVERIFY2(item(n), qPrintable(QString::number(n)));
        QCOMPARE(buttonList->parentWidget(), mainDlog);
    }

    void savedSizeOfZeroLeavesTheDesignedSize()
    {
        QCOMPARE(theConfigPrefs.mainWindowSize, 0u);
        QCOMPARE(mainDlog->size(), QSize(MAINdesignedWidth(), MAINdesignedHeight()));
        QCOMPARE(mainDlogLimitRect.top, (int16_t)MAINdesignedHeight());
        QCOMPARE(mainDlogLimitRect.bottom, (int16_t)(MAINdesignedHeight() + 300));
    }

    void savedSizeIsAppliedAtCreation()
    {
        theConfigPrefs.mainWindowSize = LAYOUTpackSize(MAINdesignedHeight() + 100, MAINdesignedWidth() + 50);
        closeMain();
        QCOMPARE(createMain(), 0);
        stuffMain();
        QCOMPARE(mainDlog->size(), QSize(MAINdesignedWidth() + 50, MAINdesignedHeight() + 100));
    }

    void growingStopsThreeHundredTallerAndTwoHundredWiderAndNeverShrinksBelowDesign()
    {
        VQXEVTinstallRouting();
        QMainWindow *window = MAINwindow();
        QRect bottomLine = item(2)->geometry();
        QSize group = item(3)->size();
        window->resize(3000, 3000);
        QCoreApplication::processEvents();
        QCOMPARE(mainDlog->size(), QSize(MAINdesignedWidth() + 200, MAINdesignedHeight() + 300));
        QCOMPARE(item(2)->geometry().top(), bottomLine.top() + 300);
        QCOMPARE(item(2)->geometry().left(), bottomLine.left());
        QCOMPARE(item(3)->size(), group + QSize(200, 300));
        QCOMPARE(theConfigPrefs.mainWindowSize, LAYOUTpackSize(MAINdesignedHeight() + 300, MAINdesignedWidth() + 200));
        QCOMPARE(prefsChanged, 1);
        window->resize(10, 10);
        QCoreApplication::processEvents();
        QCOMPARE(mainDlog->size(), QSize(MAINdesignedWidth(), MAINdesignedHeight()));
        QCOMPARE(item(2)->geometry(), bottomLine);
    }

    void listViewIsCutToWholeRowsLeavingABlankStrip()
    {
        int rowHeight = MAINrowHeight();
        int frame = buttonList->frameWidth();
        int room = usrListRect.height() - 2 * frame;
        int rows = room / rowHeight;
        QCOMPARE(buttonList->height() - 2 * frame, rows * rowHeight);
        QCOMPARE(usrListRect.height() - buttonList->height(), room % rowHeight);
        // A height one pixel short of a whole row more leaves the same rows and a wider strip.
        doGrowMainDlogDetail(MAINdesignedHeight() + rowHeight - 1 - room % rowHeight, MAINdesignedWidth());
        stuffButtonList();
        QCOMPARE(buttonList->height() - 2 * frame, rows * rowHeight);
        QCOMPARE(usrListRect.height() - buttonList->height(), rowHeight - 1);
    }

    void emptyApplicationGivesTitleColumnOfSixAndMovesTheColumnsLeft()
    {
        static ApplicationRecord empty = {};
        int actionLeft = item(8)->x();
        currentAppl = &empty;
        QCOMPARE(getSizeOfTitleColumn(), 6);
        stuffButtonList();
        QCOMPARE(theListOffsets[3] - theListOffsets[2], 6);
        QCOMPARE(item(6)->width(), 7);
        QVERIFY(item(8)->x() < actionLeft);
        QCOMPARE(item(8)->x() - usrListRect.left(), (int)theListOffsets[3]);
        QCOMPARE(item(23)->x() - usrListRect.left(), (int)theListOffsets[4]);
        QCOMPARE(item(23)->geometry().right(), usrListRect.right());
        QCOMPARE(numItemsDisplayed, 0);
    }

    void withoutApplicationsTheTitleColumnIsSix()
    {
        viewByButton = 1;
        const int32_t count = numApplications;
        numApplications = 0;
        const int width = getSizeOfTitleColumn();
        numApplications = count; // so that the reset frees every application's actions
        QCOMPARE(width, 6);
    }

    void listDefinitionInitialisesDrawsHighlightsAndIgnoresOtherMessages()
    {
        theGlobeIconSuiteHdl = theDisableIconSuiteHdl = theMissingIconSuiteHdl = QIcon();
        tabsLDEF(kListInit, false, QRect(), -1, nullptr, true);
        QVERIFY(!theGlobeIconSuiteHdl.isNull() && !theDisableIconSuiteHdl.isNull() && !theMissingIconSuiteHdl.isNull());

        const QRect cell(0, 0, 400, 20);
        const QColor blank(1, 2, 3);
        QImage image(cell.size(), QImage::Format_RGB32);
        image.fill(blank);
        {
            QPainter p(&image);
            tabsLDEF(7, true, cell, 0, &p, true);
        }
        QCOMPARE(image.pixelColor(200, 10), blank); // not a message of the list

        {
            QPainter p(&image);
            tabsLDEF(kListHilite, false, cell, 0, &p, true);
        }
        const QColor highlight = QApplication::palette().color(QPalette::Active, QPalette::Highlight);
        QCOMPARE(image.pixelColor(200, 10), highlight);

        image.fill(blank);
        {
            QPainter p(&image);
            p.setFont(buttonList->font());
            tabsLDEF(kListDraw, false, cell, 0, &p, true);
        }
        int drawn = 0;
        for (int x = 0; x < cell.width(); x++)
            for (int y = 0; y < cell.height(); y++)
                drawn += image.pixelColor(x, y) != blank;
        QVERIFY2(drawn > 20, qPrintable(QString::number(drawn))); // the row's text and column lines
    }

    // Pixels clearly darker than the button's face, in the columns [from, to) of the button's inside.
    static int darkPixels(const QImage &image, int from, int to)
    {
        const QColor face = image.pixelColor(image.width() / 2, 3);
        int dark = 0;
        for (int x = from; x < to; x++)
            for (int y = 4; y < image.height() - 4; y++)
                dark += image.pixelColor(x, y).lightness() + 30 < face.lightness();
        return dark;
    }

    void bevelButtonsUseTheSmallFontWithTextFlushRightAndGraphicLeft()
    {
        for (int n : { kItemEdit, kItemShowRemotePict, kItemUseGlobal, kItemUseOwnAction }) {
            auto *button = qobject_cast<QPushButton *>(item(n));
            QVERIFY(button);
            QVERIFY2(button->font().pointSizeF() < mainDlog->font().pointSizeF(), qPrintable(QString::number(n)));
        }
        // Edit has no graphic: its text sits in the right part, nothing in the left third.
        const QImage edit = btEditHdl->grab().toImage();
        const int third = edit.width() / 3;
        QCOMPARE(darkPixels(edit, 4, third), 0);
        QVERIFY(darkPixels(edit, 2 * third, edit.width() - 4) > 10);
        // Use Global Action: the globe at the left edge, the text ending at the right.
        const QImage global = btUseGlobalActionHdl->grab().toImage();
        QVERIFY(darkPixels(global, 4, 30) > 0);
        QVERIFY(darkPixels(global, global.width() - 20, global.width() - 4) > 0);
    }

    void titleColumnFitsTheLongestButtonName()
    {
        QFontMetrics fm(buttonList->font());
        int widest = 0;
        for (const ActionRecord *a = currentAppl->first; a; a = a->next)
            widest = std::max(widest, fm.horizontalAdvance(QString(a->buttonName)));
        QCOMPARE(getSizeOfTitleColumn(), widest + 6);
        QCOMPARE(theListOffsets[3] - theListOffsets[2], widest + 6);
    }

    void fieldTooWideEndsInAnEllipsisAndANarrowFieldIsCutToNothing()
    {
        QFontMetrics fm(buttonList->font());
        QString text = "A rather long description of an action";
        int width = fm.horizontalAdvance(text) / 2;
        QString cut = AdjustStringWidth(text, width, fm);
        QVERIFY(cut.endsWith(QChar(0x2026)));
        QVERIFY(fm.horizontalAdvance(cut) <= width - fm.horizontalAdvance(' '));
        QVERIFY(text.startsWith(cut.left(cut.size() - 1)));
        QCOMPARE(
            AdjustStringWidth("Play", fm.horizontalAdvance("Play") + fm.horizontalAdvance(' '), fm), QString("Play"));
        int narrow = fm.horizontalAdvance(' ') + fm.horizontalAdvance(QChar(0x2026)) - 1;
        QCOMPARE(AdjustStringWidth(text, narrow, fm), QString());
    }

    void savedApplicationIndexBeyondThePopupFallsBackToSeven()
    {
        theConfigPrefs.currentApplIdx = 40;
        prefsChanged = 0;
        QCOMPARE(stuffMain(), 0);
        QCOMPARE(currentApplIdx, 7);
        QCOMPARE(theConfigPrefs.currentApplIdx, 7);
        QCOMPARE(prefsChanged, 1);
        QCOMPARE(popupAppleHdl->currentIndex() + 1, 7);
        QCOMPARE(QString(currentAppl->name), popupAppleHdl->currentText());
    }

    void popupHoldsTheFixedItemsAndTheApplications()
    {
        QCOMPARE(popupAppleHdl->count(), 8);
        QCOMPARE(popupAppleHdl->itemText(0), QString(getstring(129, 37)));
        QCOMPARE(popupAppleHdl->itemText(1), QString(getstring(129, 38)));
        QCOMPARE(popupAppleHdl->itemText(3), QString(getstring(129, 39)));
        QCOMPARE(popupAppleHdl->itemText(4), QString(getstring(129, 40)));
        QCOMPARE(popupAppleHdl->itemText(6), QString("vlc"));
        QCOMPARE(popupAppleHdl->itemText(7), QString("quiet"));
        QVERIFY(POPitemEnabled(popupAppleHdl, 4));
    }

    void globalIconShowsOnlyForTheGlobalEntry()
    {
        auto *icon = qobject_cast<QLabel *>(item(25));
        QVERIFY(icon->pixmap().isNull());
        popupAppleHdl->setCurrentIndex(0);
        doItemHit(18);
        QVERIFY(!icon->pixmap().isNull());
        QCOMPARE(currentAppl, theGlobalAppl);
        QVERIFY(!ckDisableHdl->isEnabled());
    }

    void remoteWithoutPictureDisablesTheShowRemoteButton()
    {
        QCOMPARE(remotePictAvail, 0); // Test.REM has no picture
        QVERIFY(!btShowRemotePictHdl->isEnabled());
    }

    void closingThePictureWindowWithItsCloseBoxIsRememberedAtTheNextStart()
    {
        QCOMPARE(MWTESTstart(*home, true), 0); // the pristine remote has a picture
        QCOMPARE(remotePictAvail, 1);
        QVERIFY(btShowRemotePictHdl->isEnabled());
        QVERIFY(!remotePictWind);
        QTest::mouseClick(btShowRemotePictHdl, Qt::LeftButton);
        QVERIFY(remotePictWind);
        QCOMPARE(theConfigPrefs.remotePictShown, 1u);
        QCOMPARE(closePrefs(), 0);

        QCOMPARE(MWTESTstart(*home, true), 0); // left open: opened again
        QVERIFY(remotePictWind);
        VQXEVTinstallRouting();
        QVERIFY(!remotePictWind->close()); // the close box
        QVERIFY(!remotePictWind);
        QCOMPARE(theConfigPrefs.remotePictShown, 0u);
        QCOMPARE(prefsChanged, 1);
        QCOMPARE(closePrefs(), 0);

        QCOMPARE(MWTESTstart(*home, true), 0);
        QCOMPARE(remotePictAvail, 1);
        QVERIFY(!remotePictWind);
    }

    void drawnRowsShowMarkersColumnsAndSelection()
    {
        MAINwindow()->resize(MAINwindow()->width() + 100, MAINwindow()->height());
        QCoreApplication::processEvents();
        keySelectButton(1, 0);
        QImage shot = MAINwindow()->grab().toImage();
        QVERIFY(!shot.isNull());
        shot.save(QString::fromStdString(home->home()) + "/main.png");
        QImage list = buttonList->viewport()->grab().toImage();
        // Row 1 is selected: painted in the highlight colour.
        QColor highlight = QApplication::palette().color(QPalette::Inactive, QPalette::Highlight);
        QColor active = QApplication::palette().color(QPalette::Active, QPalette::Highlight);
        int y = MAINrowHeight() + MAINrowHeight() / 2;
        QRgb pixel = list.pixel(theListOffsets[3] - 2, y);
        QVERIFY(pixel == highlight.rgb() || pixel == active.rgb());
    }
};

QTEST_MAIN(MainWindowListTest)
#include "mainwin_list_test.moc"
