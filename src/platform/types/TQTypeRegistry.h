// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#pragma once

/*!
    \file TQTypeRegistry.h
    \ingroup platform
    \brief TQTypeRegistry, the one registry of file types, and its shorthand TQUTTypeConformsTo().
*/

#include "tqkit_export.h"

#include <QString>
#include <QStringList>

#include <memory>

class QByteArray;

/*!
    \class TQTypeRegistry
    \brief The library's vocabulary of file types: uniform type identifiers on Linux.

    Types are named by type identifiers ("public.jpeg", "public.folder", "com.adobe.pdf"),
    which every part of the library passes around as plain strings. The registry knows a
    compiled-in set of declared types, each with the identifiers it conforms to, its MIME
    types and its file-name extensions, and answers conformance along that graph.

    Files are typed through the freedesktop shared MIME database (QMimeDatabase): the MIME
    type found for a file is mapped to its declared identifier. A MIME type that no declared
    type claims gets a \e dynamic identifier, "dyn.mime." followed by the MIME name with its
    '/' written as '.', e.g. "dyn.mime.application.x-foo". A dynamic identifier conforms to
    the identifiers of its MIME parents (the shared MIME database's sub-class-of chain) and
    to the declared type its top-level media type suggests ("image/..." to "public.image",
    "application/..." to "public.data", ...), so it always reaches "public.item".

    Conformance is reflexive and transitive; an identifier that is neither declared nor
    dynamic conforms only to itself.

    \par Threads
    The registry is immutable once built (on first use of shared()); every member function
    may be called from any thread at the same time. Answers about dynamic identifiers are
    cached under a lock.

    \par Cost
    Conformance questions about declared types are hash look-ups. typeForFile() with
    Detection::ContentAndName reads up to 16 KiB of the file; Detection::NameOnly never
    touches it.

    \ingroup platform
*/
class TQKIT_EXPORT TQTypeRegistry
{
public:
    //! How much of a file typeForFile() may look at.
    enum class Detection {
        NameOnly,       //!< the file name's extension (or glob) only; the file is not opened
        ContentAndName, //!< the name, checked against the content; the content wins when they disagree
    };

    //! The process-wide registry. Built on first use; thread-safe.
    static const TQTypeRegistry &shared();

    ~TQTypeRegistry();
    TQTypeRegistry(const TQTypeRegistry &) = delete;
    TQTypeRegistry &operator=(const TQTypeRegistry &) = delete;

    //! True when \a type is one of the compiled-in declared types.
    bool isDeclared(const QString &type) const;
    //! True when \a type is a dynamic identifier made for a MIME type.
    static bool isDynamic(const QString &type);

    /*!
        True when \a type conforms to \a conformsTo: it is the same identifier, or one of the
        identifiers it conforms to does, transitively. Empty strings conform to nothing.
    */
    bool conformsTo(const QString &type, const QString &conformsTo) const;
    /*!
        True when \a type conforms to at least one of \a types, as conformsTo() answers; the
        same as asking of each in turn, with the type's supertypes looked up once.
    */
    bool conformsToAny(const QString &type, const QStringList &types) const;

    //! The identifiers \a type directly conforms to, in declaration order.
    QStringList directSupertypes(const QString &type) const;
    //! Every identifier \a type conforms to, itself first, then breadth-first; no duplicates.
    QStringList allSupertypes(const QString &type) const;

    //! Every declared type, in the registry's order.
    QStringList declaredTypes() const;
    //! The declared types that conform to "public.audiovisual-content" (audio included).
    QStringList audiovisualTypes() const;

    /*!
        The identifier for the MIME type \a mimeType (aliases are resolved through the shared
        MIME database). A MIME type unknown to the database still gets a dynamic identifier;
        an empty name gives an empty string.
    */
    QString typeForMimeType(const QString &mimeType) const;
    //! The identifier for a file-name extension without its dot ("jpg", "tar.gz").
    QString typeForFilenameExtension(const QString &extension) const;

    //! The MIME type that best names \a type (the first declared one); empty when it has none.
    QString preferredMimeType(const QString &type) const;
    //! The MIME types declared for \a type; for a dynamic identifier, its MIME type.
    QStringList mimeTypes(const QString &type) const;
    /*!
        The localised description of \a type for people ("JPEG image", "folder"): the shared
        MIME database's comment for its MIME type, or for the nearest supertype that has one.
    */
    QString localizedDescription(const QString &type) const;
    //! The file-name extensions declared for \a type, without dots, the preferred one first.
    QStringList filenameExtensions(const QString &type) const;

    /*!
        The type of the file at \a path, following symbolic links. A directory is
        "public.folder". An empty or unreadable file is typed by its name. With
        Detection::ContentAndName a file whose name and content disagree gets the type of its
        content when the content is recognised (a PNG named "photo.jpg" is "public.png"); when
        one type is a more specific form of the other, the more specific one wins.
        A FIFO, socket or device has its own type whatever its name
        ("dyn.mime.inode.fifo", ...) and is never opened; content is read without blocking,
        from a regular file only, at most 16 KiB of it.
        Returns an empty string only when \a path does not exist.
    */
    QString typeForFile(const QString &path, Detection detection = Detection::ContentAndName) const;
    //! typeForFile() for a path in the file system's own bytes, which need not be UTF-8.
    QString typeForFile(const QByteArray &nativePath, Detection detection = Detection::ContentAndName) const;
    /*!
        typeForFile() for a path whose status the caller read a moment ago with stat() (links
        followed), as a folder listing does: \a mode (st_mode) and \a size (st_size) stand for
        the first look typeForFile() takes, which saves a system call per file. A folder is
        still looked at, because its parent decides whether it is a volume.
    */
    QString typeForFile(const QByteArray &nativePath, quint32 mode, qint64 size,
                        Detection detection = Detection::ContentAndName) const;
    //! The type of a file name alone, without looking at any file.
    QString typeForFileName(const QString &fileName) const;
    //! The type of some bytes taken from the start of a file ("public.data" when unknown).
    QString typeForData(const QByteArray &data) const;

private:
    TQTypeRegistry();
    struct Private;
    std::unique_ptr<Private> const d;
};

//! Shorthand for TQTypeRegistry::shared().conformsTo(\a type, \a conformsTo).
TQKIT_EXPORT bool TQUTTypeConformsTo(const QString &type, const QString &conformsTo);
