// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: BSD-3-Clause

// A folder's files with their Finder labels. Right-click the selection for the label picker: it
// outlines the labels the selected files already carry, and a click gives them all the label
// picked. The File menu holds the small picker too.
//
//   labels-window [FOLDER] [--smoke]
//
// Without a folder, a temporary one with a few files is shown. --smoke opens the context menu
// over two files, checks the outlines, clicks the red swatch, checks both files were labelled
// and quits (exit 77 where the file system keeps no user extended attributes).

#include <FVColorMenuMatrix.h>
#include <FVColorMenuView.h>
#include <FVFinderLabel.h>
#include <TQFile.h>
#include <TQResponderUtilities.h>

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QListWidget>
#include <QMainWindow>
#include <QMenuBar>
#include <QMouseEvent>
#include <QPainter>
#include <QStatusBar>
#include <QTemporaryDir>
#include <QTimer>

#include <cstdio>

namespace {

QIcon swatchIcon(int label)
{
    QPixmap pixmap(16, 16);
    pixmap.fill(Qt::transparent);
    if (label > 0) {
        QPainter painter(&pixmap);
        FVFinderLabel::drawFinderLabel(label, QRectF(1, 3, 14, 10), &painter, true);
    }
    return QIcon(pixmap);
}

} // namespace

class LabelsWindow : public QMainWindow
{
    Q_OBJECT

public:
    explicit LabelsWindow(const QString &folder)
    {
        setWindowTitle(QDir(folder).dirName());
        list = new QListWidget(this);
        list->setSelectionMode(QAbstractItemView::ExtendedSelection);
        list->setContextMenuPolicy(Qt::CustomContextMenu);
        setCentralWidget(list);

        const QFileInfoList entries = QDir(folder).entryInfoList(QDir::Files | QDir::Dirs | QDir::NoDotAndDotDot, QDir::Name);
        for (const QFileInfo &entry : entries) {
            files.append(TQFile::newFileForPath(entry.filePath()));
            list->addItem(QString());
            refreshRow(int(files.size()) - 1);
        }

        // One picker action per menu; both name the same handler, reached through the responder
        // chain from the list (the focus) up to this window.
        contextPicker = new FVColorMenuAction(this, FVColorMenuAction::Normal);
        filePicker = new FVColorMenuAction(this, FVColorMenuAction::Small);
        for (FVColorMenuAction *picker : {contextPicker, filePicker})
            TQResponderUtilities::setAction(picker, QStringLiteral("labelMenuAction:"));

        contextMenu = new QMenu(this);
        contextMenu->addAction(contextPicker);
        QMenu *fileMenu = menuBar()->addMenu(tr("&File"));
        fileMenu->addAction(filePicker);
        fileMenu->addSeparator();
        fileMenu->addAction(tr("&Quit"), QKeySequence::Quit, qApp, &QApplication::quit);

        connect(list, &QWidget::customContextMenuRequested, this,
                [this](const QPoint &pos) { contextMenu->popup(list->viewport()->mapToGlobal(pos)); });
        connect(list, &QListWidget::itemSelectionChanged, this, &LabelsWindow::selectionChanged);
        selectionChanged();
        resize(360, 300);
    }

    //! The labels of the selected files, each once; 0 when one of them has none.
    Q_INVOKABLE QList<int> selectedFinderLabels() const
    {
        QList<int> labels;
        for (const int row : selectedRows()) {
            const int label = files.at(row)->finderLabel();
            if (!labels.contains(label))
                labels.append(label);
        }
        return labels;
    }

    Q_INVOKABLE void labelMenuAction(QAction *sender)
    {
        const int label = static_cast<FVColorMenuAction *>(sender)->tag();
        int done = 0;
        QString failure;
        for (const int row : selectedRows()) {
            QString error;
            if (files.at(row)->setFinderLabel(label, &error))
                ++done;
            else
                failure = error;
            refreshRow(row);
        }
        lastFailure = failure;
        statusBar()->showMessage(failure.isEmpty() ? tr("Labelled %n file(s) “%1”", nullptr, done).arg(FVFinderLabel::nameForLabel(label))
                                                   : failure);
    }

    QList<int> selectedRows() const
    {
        QList<int> rows;
        const QList<QListWidgetItem *> items = list->selectedItems();
        for (const QListWidgetItem *item : items)
            rows.append(list->row(item));
        std::sort(rows.begin(), rows.end());
        return rows;
    }

    void refreshRow(int row)
    {
        const TQFileRef &file = files.at(row);
        const int label = file->finderLabel();
        QListWidgetItem *item = list->item(row);
        item->setText(label > 0 ? QStringLiteral("%1 (%2)").arg(file->displayName(), file->finderLabelTitle()) : file->displayName());
        item->setIcon(swatchIcon(label));
    }

    void selectionChanged()
    {
        // A picker with nothing to label is shown washed out.
        const bool any = !list->selectedItems().isEmpty();
        contextPicker->setEnabled(any);
        filePicker->setEnabled(any);
    }

    QListWidget *list = nullptr;
    QMenu *contextMenu = nullptr;
    FVColorMenuAction *contextPicker = nullptr;
    FVColorMenuAction *filePicker = nullptr;
    QList<TQFileRef> files;
    QString lastFailure;
};

namespace {

void click(QWidget *widget, const QPointF &pos)
{
    const QPointF global = widget->mapToGlobal(pos);
    QMouseEvent press(QEvent::MouseButtonPress, pos, global, Qt::LeftButton, Qt::LeftButton, Qt::NoModifier);
    QMouseEvent release(QEvent::MouseButtonRelease, pos, global, Qt::LeftButton, Qt::NoButton, Qt::NoModifier);
    QApplication::sendEvent(widget, &press);
    QApplication::sendEvent(widget, &release);
}

// The context menu over the first two files, one of them Green: the picker must outline Green
// and "no label", and its red swatch must label both.
int smoke(LabelsWindow &window)
{
    if (!window.files.at(0)->setFinderLabel(2)) {
        std::fprintf(stderr, "labels-window: skipped, this file system keeps no user extended attributes\n");
        return 77;
    }
    window.refreshRow(0);
    // The picker asks the main window, which is the active one.
    window.activateWindow();
    for (int i = 0; i < 100 && QApplication::activeWindow() != &window; ++i)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
    window.list->item(0)->setSelected(true);
    window.list->item(1)->setSelected(true);
    window.list->setFocus();
    emit window.list->customContextMenuRequested(window.list->visualItemRect(window.list->item(0)).center());
    auto *picker = window.contextMenu->findChild<FVColorMenuView *>();
    if (!picker || !picker->isVisible() || !picker->matrix()->isEnabled()) {
        std::fprintf(stderr, "labels-window: the context menu shows no live picker\n");
        return 1;
    }
    QList<int> outlined = picker->matrix()->selectedLabels().value_or(QList<int>());
    std::sort(outlined.begin(), outlined.end());
    if (outlined != QList<int>{0, 2}) {
        std::fprintf(stderr, "labels-window: outlines do not show the selection's labels (%d outlined)\n", int(outlined.size()));
        return 1;
    }
    int row = -1;
    int column = -1;
    picker->matrix()->getRow(&row, &column, 6);
    click(picker->matrix(), picker->matrix()->cellFrameAtRow(row, column).center());
    if (window.contextMenu->isVisible() || window.files.at(0)->finderLabel() != 6 || window.files.at(1)->finderLabel() != 6
        || window.files.at(2)->finderLabel() != 0) {
        std::fprintf(stderr, "labels-window: picking Red did not label the selection (%s)\n", qPrintable(window.lastFailure));
        return 1;
    }
    return window.grab().isNull() ? 1 : 0;
}

} // namespace

int main(int argc, char **argv)
{
    QApplication app(argc, argv);
    QStringList arguments = app.arguments().mid(1);
    const bool smokeRun = arguments.removeAll(QStringLiteral("--smoke")) > 0;

    QTemporaryDir sample;
    QString folder = arguments.value(0);
    if (folder.isEmpty()) {
        folder = sample.path();
        for (const char *name : {"beach.jpg", "notes.txt", "plan.pdf", "song.ogg"}) {
            QFile file(QDir(folder).filePath(QString::fromLatin1(name)));
            if (file.open(QIODevice::WriteOnly))
                file.write("sample\n");
        }
    }

    LabelsWindow window(folder);
    window.show();
    if (smokeRun) {
        QTimer::singleShot(0, &app, [&] { app.exit(smoke(window)); });
    }
    return app.exec();
}

#include "main.moc"
