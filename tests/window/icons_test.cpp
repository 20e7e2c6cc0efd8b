// Icons drawn from SVG at first use, the window icon given after the first paint, and the
// application style's overflow arrow.
#include <QMainWindow>
#include <QMenuBar>
#include <QProxyStyle>
#include <QSvgRenderer>
#include <QToolButton>
#include <QtTest>

#include "platform/icons.h"
#include "support/window_support.h"

// Pixels of `image` that are not fully transparent.
static int opaquePixels(const QImage &image)
{
    int count = 0;
    for (int y = 0; y < image.height(); y++)
        for (int x = 0; x < image.width(); x++)
            count += qAlpha(image.pixel(x, y)) != 0;
    return count;
}

class IconsTest : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() { WINTESTinit(); }

    void svgIconIsRenderedAtEachSizeAskedFor()
    {
        QIcon icon = ICONsvg(":/cicn/128.svg");
        QVERIFY(!icon.isNull());
        for (int side : {16, 32, 48}) {
            QPixmap pixmap = icon.pixmap(QSize(side, side));
            QCOMPARE(pixmap.size(), QSize(side, side));
            QVERIFY2(opaquePixels(pixmap.toImage()) > side * side / 8, qPrintable(QString::number(side)));
        }
    }

    void disabledIconIsDrawnDifferentlyFromTheNormalOne()
    {
        QIcon icon = ICONsvg(":/cicn/140.svg");
        QImage normal = icon.pixmap(QSize(32, 32), QIcon::Normal).toImage();
        QImage disabled = icon.pixmap(QSize(32, 32), QIcon::Disabled).toImage();
        QCOMPARE(disabled.size(), normal.size());
        QVERIFY(opaquePixels(disabled) > 0);
        QVERIFY(normal.convertToFormat(QImage::Format_ARGB32) != disabled.convertToFormat(QImage::Format_ARGB32));
    }

    void missingOrBrokenSvgGivesATransparentPictureNotACrash()
    {
        QPixmap missing = ICONsvg(":/cicn/no-such-icon.svg").pixmap(QSize(24, 24));
        QCOMPARE(missing.size(), QSize(24, 24));
        QCOMPARE(opaquePixels(missing.toImage()), 0);
        QPixmap broken = ICONsvgText("<svg this is not").pixmap(QSize(24, 24));
        QCOMPARE(opaquePixels(broken.toImage()), 0);
    }

    void iconFromSvgTextKeepsItsProportionsCentred()
    {
        // A wide bar: drawn across the middle of a square, never stretched to its top and bottom.
        QIcon bar = ICONsvgText("<svg xmlns='http://www.w3.org/2000/svg' width='40' height='10'>"
                                "<rect width='40' height='10' fill='#000'/></svg>");
        QImage image = bar.pixmap(QSize(40, 40)).toImage();
        QCOMPARE(qAlpha(image.pixel(20, 20)), 255);
        QCOMPARE(qAlpha(image.pixel(20, 2)), 0);
        QCOMPARE(qAlpha(image.pixel(20, 37)), 0);
    }

    void fittedPictureKeepsItsProportionsAndNothingGivesANullImage()
    {
        QSvgRenderer bar(QByteArray("<svg xmlns='http://www.w3.org/2000/svg' width='40' height='10'>"
                                    "<rect width='40' height='10' fill='#000'/></svg>"));
        QImage fitted = ICONfitted(bar, QSize(80, 80));
        QCOMPARE(fitted.size(), QSize(80, 20));
        QCOMPARE(qAlpha(fitted.pixel(40, 10)), 255);
        QSvgRenderer empty;
        QVERIFY(ICONfitted(empty, QSize(80, 80)).isNull());
        QVERIFY(ICONfitted(bar, QSize(0, 0)).isNull());
    }

    void windowIconIsGivenOnlyAfterTheWindowIsFirstPainted()
    {
        QWidget window;
        window.resize(120, 80);
        QIcon icon = ICONsvg(":/cicn/140.svg");
        ICONsetWindowIconWhenShown(&window, icon);
        QVERIFY(window.windowIcon().cacheKey() != icon.cacheKey());
        window.show();
        QTRY_COMPARE(window.windowIcon().cacheKey(), icon.cacheKey());
    }

    void menuBarOverflowArrowIsTheStylesOwnDrawnIcon()
    {
        ICONinstallStyle();
        QStyle *style = QApplication::style();
        ICONinstallStyle();
        QCOMPARE(QApplication::style(), style); // a second call keeps the style
        QVERIFY(qobject_cast<QProxyStyle *>(style));

        QMainWindow window;
        for (int i = 0; i < 12; i++)
            window.menuBar()->addMenu(QString("Menu number %1").arg(i))->addAction("Item");
        window.resize(160, 120);
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        auto *arrow = window.menuBar()->findChild<QToolButton *>("qt_menubar_ext_button");
        QVERIFY(arrow);
        QTRY_VERIFY(arrow->isVisible());
        QVERIFY(!arrow->icon().isNull());
        QVERIFY(opaquePixels(arrow->icon().pixmap(QSize(16, 16)).toImage()) > 10);
        QIcon expected = style->standardIcon(QStyle::SP_ToolBarHorizontalExtensionButton);
        QCOMPARE(arrow->icon().pixmap(QSize(16, 16)).toImage(), expected.pixmap(QSize(16, 16)).toImage());
    }
};

QTEST_MAIN(IconsTest)
#include "icons_test.moc"
