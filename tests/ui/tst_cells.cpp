// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "TQFile.h"
#include "TQIconAndFilenameCell.h"
#include "TQVerticalCenterTextCell.h"

#include <QApplication>
#include <QFontMetricsF>
#include <QLineEdit>
#include <QListView>
#include <QPainter>
#include <QRegularExpression>
#include <QStandardItemModel>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;
using Hit = TQVerticalCenterTextCell::Hit;

namespace {

QFont knownFont()
{
    QFont font(u"DejaVu Sans"_s);
    font.setPixelSize(12);
    return font;
}

QIcon solidIcon(const QColor &color)
{
    QPixmap pixmap(16, 16);
    pixmap.fill(color);
    return QIcon(pixmap);
}

// The row drawn alone on white, as a view would draw it, into the left \a width of the image.
QImage paintedRow(const QStyledItemDelegate &cell, const QModelIndex &index, const QSize &size, int width = -1,
                  QStyle::State state = QStyle::State_None)
{
    QImage image(size, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::white);
    QStyleOptionViewItem option;
    option.rect = QRect(0, 0, width < 0 ? size.width() : width, size.height());
    option.state = QStyle::State_Enabled | QStyle::State_Active | state;
    option.font = knownFont();
    option.palette = QApplication::palette();
    QPainter painter(&image);
    cell.paint(&painter, option, index);
    return image;
}

} // namespace

class TestCells : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_dir;
    TQFileRef m_file, m_link;

    // A record as a bookmark list holds it, showing its own picture for the file.
    QVariantMap record(const TQFileRef &file) const
    {
        QImage red(16, 16, QImage::Format_ARGB32_Premultiplied);
        red.fill(Qt::red);
        QVariantMap map{{u"name"_s, u"same"_s}, {u"picture"_s, red}};
        if (file)
            map.insert(u"file"_s, QVariant::fromValue(file));
        return map;
    }

    // The cell reads a record's file, name and picture.
    static void readRecords(TQIconAndFilenameCell &cell)
    {
        cell.setFileKeyPath(u"file"_s);
        cell.setTextKeyPath(u"name"_s);
        cell.setImageKeyPath(u"picture"_s);
    }

private slots:
    void init() { QTest::failOnWarning(QRegularExpression(u".*"_s)); }

    void initTestCase()
    {
        // The desktop's theme, as a session would set it; the offscreen platform names none.
        QIcon::setThemeSearchPaths(QIcon::themeSearchPaths() << u"/usr/share/icons"_s);
        QIcon::setThemeName(u"Adwaita"_s);
        QVERIFY(m_dir.isValid());
        QFile plain(m_dir.filePath(u"notes.txt"_s));
        QVERIFY(plain.open(QIODevice::WriteOnly));
        plain.write("words\n");
        plain.close();
        QVERIFY(QFile::link(plain.fileName(), m_dir.filePath(u"link to notes"_s)));
        m_file = TQFile::newFileForPath(plain.fileName());
        m_link = TQFile::newFileForPath(m_dir.filePath(u"link to notes"_s));
        QVERIFY(m_file && m_link && m_file->isRealFile() && !m_link->isRealFile());
    }

    // Where the icon and the text go in a cell, what a click there hits, and the room the
    // content needs.
    void geometry_data()
    {
        QTest::addColumn<bool>("withIcon");
        QTest::addColumn<QRectF>("bounds");
        QTest::addColumn<QRectF>("image");
        QTest::addColumn<qreal>("titleX");
        QTest::addColumn<qreal>("titleWidth");
        QTest::newRow("icon") << true << QRectF(0, 0, 200, 20) << QRectF(3, 2, 19, 16) << 22.0 << 178.0;
        QTest::newRow("no icon") << false << QRectF(0, 0, 200, 20) << QRectF(3, 10, 0, 0) << 3.0 << 197.0;
        QTest::newRow("moved, odd height") << true << QRectF(10, 30, 100, 21) << QRectF(13, 32, 19, 16) << 32.0 << 78.0;
        QTest::newRow("narrower than the icon") << true << QRectF(0, 0, 10, 20) << QRectF(3, 2, 19, 16) << 22.0 << 0.0;
    }

    void geometry()
    {
        QFETCH(bool, withIcon);
        QFETCH(QRectF, bounds);
        QFETCH(QRectF, image);
        QFETCH(qreal, titleX);
        QFETCH(qreal, titleWidth);
        TQIconAndFilenameCell cell;
        cell.setFont(knownFont());
        cell.setStringValue(u"Pics"_s);
        if (withIcon)
            cell.setIcon(solidIcon(Qt::red));
        QCOMPARE(cell.totalImageArea(), image.size());
        QCOMPARE(cell.imageRectForBounds(bounds), image);
        const QRectF title = cell.titleRectForBounds(bounds, knownFont());
        QCOMPARE(title.x(), titleX);
        QCOMPARE(title.width(), titleWidth);
        // Only the horizontal place differs from the plain text cell's.
        TQVerticalCenterTextCell text;
        text.setStringValue(u"Pics"_s);
        const QRectF plain = text.titleRectForBounds(bounds, knownFont());
        QCOMPARE(title.y(), plain.y());
        QCOMPARE(title.height(), plain.height());
        QCOMPARE(cell.cellSize(knownFont()).width(), text.cellSize(knownFont()).width() + titleX - bounds.x());

        QCOMPARE(cell.hitTest(image.center(), bounds), withIcon ? Hit::ContentArea : Hit::EditableTextArea);
        if (titleWidth > 0)
            QCOMPARE(cell.hitTest(title.center(), bounds), Hit::EditableTextArea);
        QCOMPARE(cell.hitTest(bounds.topLeft() + QPointF(1, 10), bounds), Hit::None); // the left margin
        QCOMPARE(cell.hitTest(QPointF(title.center().x(), bounds.bottom() - 0.5), bounds), Hit::None); // below the text
    }

    void verticalCentring_data()
    {
        QTest::addColumn<qreal>("spare");
        QTest::addColumn<qreal>("offset");
        QTest::newRow("even") << 6.0 << 3.0;
        QTest::newRow("odd, rounded down") << 5.0 << 2.0;
        QTest::newRow("exact") << 0.0 << 0.0;
        QTest::newRow("too short") << -3.0 << -2.0;
    }

    void verticalCentring()
    {
        QFETCH(qreal, spare);
        QFETCH(qreal, offset);
        const qreal textHeight = QFontMetricsF(knownFont()).height();
        const QRectF bounds(5, 40, 150, textHeight + spare);
        QCOMPARE(TQVerticalCenterTextCell().titleRectForBounds(bounds, knownFont()), QRectF(5, 40 + offset, 150, textHeight));
    }

    void setObjectValue_data()
    {
        QTest::addColumn<QVariant>("object");
        QTest::addColumn<QStringList>("keyPaths"); // file, text, image
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("icon");         // "kept", "file's", "other", "none"
        QTest::addColumn<QString>("item");         // "kept", "file", "none"

        const QStringList standard{QString(), u"displayName"_s, u"fileIcon"_s};
        const QStringList bookmark{u"BookmarkFile"_s, u"BookmarkTitle"_s, u"BookmarkFile.fileIcon"_s};
        const QVariant file = QVariant::fromValue(m_file);
        const QString name = m_file->displayName();
        QTest::newRow("text") << QVariant(u"Separator"_s) << standard << u"Separator"_s << u"kept"_s << u"kept"_s;
        QTest::newRow("null") << QVariant() << standard << QString() << u"kept"_s << u"kept"_s;
        QTest::newRow("file item") << file << standard << name << u"file's"_s << u"file"_s;
        QTest::newRow("file item, base pointer") << QVariant::fromValue(UWStandardFileRef(m_file)) << standard << name
                                                 << u"file's"_s << u"file"_s;
        QTest::newRow("file item, no paths") << file << QStringList{QString(), QString(), QString()} << QString()
                                             << u"none"_s << u"file"_s;
        QTest::newRow("bookmark") << QVariant(QVariantMap{{u"BookmarkFile"_s, file}, {u"BookmarkTitle"_s, u"Pics"_s}})
                                  << bookmark << u"Pics"_s << u"file's"_s << u"file"_s;
        QTest::newRow("bookmark without a file") << QVariant(QVariantMap{{u"BookmarkTitle"_s, u"Pics"_s}}) << bookmark
                                                 << QString() << u"kept"_s << u"none"_s;
        QTest::newRow("record with a picture") << QVariant(record(m_file))
                                               << QStringList{u"file"_s, u"name"_s, u"picture"_s}
                                               << u"same"_s << u"other"_s << u"file"_s;
    }

    void setObjectValue()
    {
        QFETCH(QVariant, object);
        QFETCH(QStringList, keyPaths);
        QFETCH(QString, text);
        QFETCH(QString, icon);
        QFETCH(QString, item);

        TQIconAndFilenameCell cell;
        const QIcon before = solidIcon(Qt::green);
        cell.setIcon(before);
        cell.setRepresentedFileItem(m_link);
        cell.setStringValue(u"before"_s);
        cell.setFileKeyPath(keyPaths[0]);
        cell.setTextKeyPath(keyPaths[1]);
        cell.setImageKeyPath(keyPaths[2]);
        cell.setObjectValue(object);

        QCOMPARE(cell.stringValue(), text);
        const UWStandardFileRef expectedItem = item == u"kept" ? m_link : item == u"file" ? m_file : nullptr;
        QCOMPARE(cell.representedFileItem(), expectedItem);
        if (icon == u"kept") {
            QCOMPARE(cell.icon().cacheKey(), before.cacheKey());
        } else if (icon == u"none") {
            QVERIFY(cell.icon().isNull());
        } else {
            QVERIFY(cell.icon().cacheKey() != before.cacheKey());
            if (icon == u"file's")
                QCOMPARE(cell.icon().name(), m_file->fileIcon().name());
            else
                QVERIFY(!cell.icon().isNull());
        }
    }

    void paintsTextInTheTitleRect_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("shown");
        QTest::addColumn<bool>("selected");
        const QString longName = u"A rather long file name that cannot fit.jpeg"_s;
        const QString cut = QFontMetricsF(knownFont()).elidedText(longName, Qt::ElideRight, 100);
        QVERIFY(cut.endsWith(QChar(0x2026)));
        QTest::newRow("short") << u"Pics"_s << u"Pics"_s << false;
        QTest::newRow("too long, cut short") << longName << cut << false;
        QTest::newRow("selected") << u"Pics"_s << u"Pics"_s << true;
    }

    void paintsTextInTheTitleRect()
    {
        QFETCH(QString, text);
        QFETCH(QString, shown);
        QFETCH(bool, selected);
        QStandardItemModel model;
        model.appendRow(new QStandardItem(text));
        model.appendRow(new QStandardItem(shown));
        TQVerticalCenterTextCell cell;
        const QStyle::State state = selected ? QStyle::State_Selected : QStyle::State_None;
        const QImage image = paintedRow(cell, model.index(0, 0), QSize(160, 24), 100, state);
        QCOMPARE(cell.stringValue(), text);
        QCOMPARE(image, paintedRow(cell, model.index(1, 0), QSize(160, 24), 100, state));

        const QColor background = selected ? QApplication::palette().color(QPalette::Highlight) : QColor(Qt::white);
        QCOMPARE(image.pixelColor(1, 1), background);
        const QRect title = cell.titleRectForBounds(QRectF(0, 0, 100, 24), knownFont()).toAlignedRect();
        int inside = 0, outside = 0;
        for (int y = 0; y < image.height(); ++y)
            for (int x = 0; x < image.width(); ++x)
                if (image.pixelColor(x, y) != (x < 100 ? background : QColor(Qt::white)))
                    (title.contains(x, y) ? inside : outside) += 1;
        QVERIFY(inside > 0);
        QCOMPARE(outside, 0);
    }

    void paintsIconAndBadge_data()
    {
        QTest::addColumn<QVariant>("object");
        QTest::addColumn<bool>("icon");
        QTest::addColumn<bool>("badge"); // only where an icon is
        QTest::newRow("file") << QVariant(record(m_file)) << true << false;
        QTest::newRow("link") << QVariant(record(m_link)) << true << true;
        QTest::newRow("separator") << QVariant(u"Separator"_s) << false << false;
        QTest::newRow("record without a file") << QVariant(record(nullptr)) << false << false;
    }

    void paintsIconAndBadge()
    {
        QFETCH(QVariant, object);
        QFETCH(bool, icon);
        QFETCH(bool, badge);

        QStandardItemModel model;
        for (const QVariant &value : {QVariant(record(m_link)), object}) {
            auto *row = new QStandardItem;
            row->setData(value, Qt::DisplayRole);
            model.appendRow(row);
        }
        TQIconAndFilenameCell cell, fresh;
        readRecords(cell);
        readRecords(fresh);
        // What a link's row leaves in the cell must not show in the next row.
        paintedRow(cell, model.index(0, 0), QSize(120, 20));
        const QImage image = paintedRow(cell, model.index(1, 0), QSize(120, 20));
        QCOMPARE(image, paintedRow(fresh, model.index(1, 0), QSize(120, 20)));

        const QRect iconRect(3, 2, 16, 16);
        QCOMPARE(image.pixelColor(iconRect.topRight()), icon ? QColor(Qt::red) : QColor(Qt::white));
        if (!icon)
            return; // the text starts where the icon would be
        bool dark = false;
        for (int y = iconRect.top(); y <= iconRect.bottom(); ++y)
            for (int x = iconRect.left(); x <= iconRect.right(); ++x)
                dark = dark || image.pixelColor(x, y).lightness() < 80;
        QCOMPARE(dark, badge);
    }

    void editorAndSize_data()
    {
        QTest::addColumn<bool>("fileCell");
        QTest::newRow("text cell") << false;
        QTest::newRow("icon and file name cell") << true;
    }

    // An editor opened on a row covers the title exactly and starts with the text the row
    // shows; the row asks for room for its icon beside the text.
    void editorAndSize()
    {
        QFETCH(bool, fileCell);
        QStandardItemModel model;
        auto *row = new QStandardItem;
        row->setData(fileCell ? QVariant(record(m_file)) : QVariant(u"same"_s), Qt::DisplayRole);
        model.appendRow(row);
        model.appendRow(new QStandardItem(u"same"_s));
        auto *fileNameCell = fileCell ? new TQIconAndFilenameCell : nullptr;
        TQVerticalCenterTextCell *cell = fileNameCell ? fileNameCell : new TQVerticalCenterTextCell;
        if (fileNameCell)
            readRecords(*fileNameCell);
        const int iconRoom = fileCell ? 22 : 0;
        QStyleOptionViewItem option;
        option.font = knownFont();
        const QSize plain = TQVerticalCenterTextCell().sizeHint(option, model.index(1, 0));
        QCOMPARE(cell->sizeHint(option, model.index(0, 0)), QSize(plain.width() + iconRoom, plain.height()));
        QCOMPARE(cell->stringValue(), u"same"_s);

        QListView view;
        cell->setParent(&view);
        view.setItemDelegate(cell);
        view.setModel(&model);
        view.resize(300, 200);
        view.show();
        QVERIFY(QTest::qWaitForWindowExposed(&view));
        const QModelIndex index = model.index(0, 0);
        view.openPersistentEditor(index);
        auto *editor = qobject_cast<QLineEdit *>(view.indexWidget(index));
        QVERIFY(editor);
        const QRect visual = view.visualRect(index);
        QCOMPARE(editor->geometry(), cell->titleRectForBounds(QRectF(visual), view.font()).toRect());
        QCOMPARE(editor->geometry().x(), visual.x() + iconRoom);
        QCOMPARE(editor->text(), u"same"_s);
    }
};

QTEST_MAIN(TestCells)
#include "tst_cells.moc"
