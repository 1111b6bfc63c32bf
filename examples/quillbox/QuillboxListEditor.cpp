// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: BSD-3-Clause

#include "QuillboxListEditor.h"

#include <TQFile.h>

#include <QDialogButtonBox>
#include <QFileDialog>
#include <QListWidget>
#include <QPushButton>
#include <QVBoxLayout>

QuillboxListEditor::QuillboxListEditor(Kind kind, const QString &title, const QStringList &paths, QWidget *parent)
    : QDialog(parent)
    , m_kind(kind)
    , m_list(new QListWidget(this))
{
    setWindowTitle(title);
    m_list->setDragDropMode(QAbstractItemView::InternalMove);
    m_list->setSelectionMode(QAbstractItemView::ExtendedSelection);
    for (const QString &path : paths)
        addPath(path);

    auto *buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
    QPushButton *add = buttons->addButton(tr("Add..."), QDialogButtonBox::ActionRole);
    QPushButton *remove = buttons->addButton(tr("Remove"), QDialogButtonBox::ActionRole);
    connect(add, &QPushButton::clicked, this, &QuillboxListEditor::choose);
    connect(remove, &QPushButton::clicked, this, [this] { qDeleteAll(m_list->selectedItems()); });
    connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);

    auto *layout = new QVBoxLayout(this);
    layout->addWidget(m_list);
    layout->addWidget(buttons);
    resize(420, 320);
}

QStringList QuillboxListEditor::paths() const
{
    QStringList paths;
    for (int row = 0; row < m_list->count(); ++row)
        paths.append(m_list->item(row)->data(Qt::UserRole).toString());
    return paths;
}

void QuillboxListEditor::addPath(const QString &path)
{
    if (path.isEmpty() || paths().contains(path))
        return;
    // Each row shows what the library calls the item: an application's own name and icon.
    const TQFileRef item = TQFile::newFileForPath(path);
    auto *row = new QListWidgetItem(m_list);
    row->setText(item ? item->displayName() : path);
    if (item)
        row->setIcon(item->fileIcon());
    row->setToolTip(path);
    row->setData(Qt::UserRole, path);
}

void QuillboxListEditor::choose()
{
    if (m_kind == Folders) {
        addPath(QFileDialog::getExistingDirectory(this, tr("Choose a Folder")));
        return;
    }
    addPath(QFileDialog::getOpenFileName(this, tr("Choose an Application"), QStringLiteral("/usr/share/applications"),
                                         tr("Applications (*.desktop)")));
}
