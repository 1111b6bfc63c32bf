// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#pragma once

#include <QByteArray>
#include <QJsonValue>
#include <QList>
#include <QString>
#include <QStringList>
#include <QStringView>
#include <QVariant>

#include <cstdio>
#include <vector>

// How tqinfo writes values: one JSON object per line, or an aligned plain-text table.
// Everything here is independent of the file items, so that any value a key may answer later
// prints the same way without this code knowing about the key.
namespace TQInfo {

//! One printed item: its path and the values of the chosen keys, in the keys' order.
struct Row
{
    QString path;
    QVariantList values;
};

//! \a value as JSON. Anything without a JSON form of its own is null.
QJsonValue jsonValue(const QVariant &value);

//! The compact JSON text of \a value on its own ("\"text\"", "12", "null", "{...}").
QByteArray jsonText(const QJsonValue &value);

//! The compact JSON text of \a value; sizes as {"width":…,"height":…} in that order.
QByteArray valueText(const QVariant &value);

//! The row as one compact JSON object: "path" first, then \a keys in their order. No newline.
QByteArray jsonLine(const QStringList &keys, const Row &row);

//! The table cell for \a value: plain text, "-" for a missing value.
QString cellText(const QVariant &value);

//! How many terminal columns \a text takes.
int displayWidth(QStringView text);

/*!
    The table: a header of "path" and the keys, then one line per row, columns aligned to
    their widest cell. Rows are appended one by one and kept as their printed text (not as
    values), so a folder of many files costs a few bytes per cell until the table is written.
*/
class Table
{
public:
    //! A table with the columns "path" and \a keys.
    explicit Table(const QStringList &keys);
    //! Adds \a row below the others.
    void append(const Row &row);
    //! Writes the whole table to \a stream.
    void write(FILE *stream) const;
    //! The whole table as UTF-8.
    QByteArray text() const;

private:
    void addCell(const QString &text);
    template <class Sink>
    void print(Sink sink) const;

    qsizetype m_columns;
    QByteArray m_bytes;            // every cell's UTF-8, one after another
    std::vector<qsizetype> m_ends; // where each cell ends in m_bytes, row by row
    std::vector<int> m_cellWidths; // each cell's display width
    std::vector<int> m_widths;     // each column's widest cell
};

} // namespace TQInfo
