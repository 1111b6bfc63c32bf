// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#pragma once

// Not part of the library's interface.

class TQFile;

//! What TQFile::isImage() and TQFile::isMedia() answer.
struct TQFileKinds
{
    bool image = false;
    bool media = false;
};

/*!
    The item's kinds as isImage() and isMedia() answer them, without keeping the answers in
    the item: for a caller that keeps them itself, such as a folder model, which asks once per
    item. Keeping them would give every item of a big folder the record of values that most
    of them never otherwise need (over 200 bytes each). Any thread, as the flags.
*/
TQFileKinds tqFileKinds(const TQFile &file);
