#pragma once

#include "TQKeyValueCoding.h"
#include "tqkit_export.h"

#include <QDateTime>
#include <QString>
#include <QStringList>
#include <QUrl>

#include <memory>

class UWStandardFile;

//! The one way file items are held: shared, identity is the pointer.
using UWStandardFileRef = std::shared_ptr<UWStandardFile>;

//! Status information a folder listing already has; handed on unchanged to initWithURL().
struct UWStatInfo;

/*!
    \class UWStandardFile
    \brief A file item: one file, folder or link as a file browser shows it.

    An item stands for a location (URL()) and answers what the browser shows of it: its name,
    type, kind text, dates and flags. Each value is read from the file system on first request
    and cached in the item; later requests answer from the cache.

    Links are followed where the answer is about the content: resolvedURL() and resolvedUTI()
    describe the link's target (a chain of links is followed to its end; a loop or a dangling
    link resolves to the link itself), while uti() of a link is "public.symlink".

    \section Ownership
    Items are made by the class operations (newFileForURL(), newFileForPath()) and held as
    UWStandardFileRef; the caller owns what it is handed.

    \section Threads
    An item has no lock. Use it from one thread at a time (the user interface, or one
    background operation); two threads filling the same cache may both compute it.

    \section Cost
    Making an item does one lstat of its path. uti(), resolvedUTI() and kindString() may read
    the start of the file to recognise its content; the other values are cheap.
*/
class TQKIT_EXPORT UWStandardFile : public std::enable_shared_from_this<UWStandardFile>,
                                    public TQKeyValueCoding
{
public:
    /*!
        A new item for the local file \a url, or nullptr when \a url is not a local file URL.
        The file need not exist: an item for a missing path answers its name and no type.
    */
    static UWStandardFileRef newFileForURL(const QUrl &url);
    //! A new item for the local path \a path (made absolute and cleaned), or nullptr when empty.
    static UWStandardFileRef newFileForPath(const QString &path);

    ~UWStandardFile() override;
    UWStandardFile(const UWStandardFile &) = delete;
    UWStandardFile &operator=(const UWStandardFile &) = delete;

    //! The item's location; empty for a placeholder.
    QUrl URL() const;
    //! The item's local path; empty for a placeholder.
    QString path() const;
    //! The location after following links; the item's own URL when it is not a link.
    QUrl resolvedURL() const;

    //! The name shown to the user: the last path component ("/" for the root folder).
    QString displayName() const;
    //! The item's own type identifier ("public.symlink" for a link, "public.folder" for a folder).
    QString uti() const;
    //! The type identifier of what the item resolves to.
    QString resolvedUTI() const;
    //! The localised description of the resolved type ("JPEG image", "folder").
    QString kindString() const;

    //! True while the item stands for a file that is not available. Always false for now.
    bool isPlaceholder() const;
    //! True for any directory (a link to a directory is not one; its target is).
    bool isDirectory() const;
    //! True for a plain folder; Linux has no packages, so this is isDirectory().
    bool isBasicDirectory() const;
    //! True for names starting with '.' and for names listed in the folder's ".hidden" file.
    bool isInvisible() const;
    //! False for a symbolic link, true for everything else that exists.
    bool isRealFile() const;
    //! True when the file exists (a dangling link exists).
    bool exists() const;

    //! The last change of the file's content; null when unknown.
    QDateTime modificationDate() const;
    /*!
        The file's birth time where the file system keeps one (statx); else the last status
        change, the nearest thing Linux has. Null when unknown.
    */
    QDateTime creationDate() const;

    /*!
        The item's Finder label, 0 (none) to 7, read from the file's extended attributes:
        the freedesktop "user.xdg.tags" list first (the first tag that names a label), else
        the colour bits of a Mac FinderInfo record kept by macOS, Samba or Netatalk.
    */
    int finderLabel() const;
    //! The name of finderLabel() ("Red"); empty for no label.
    QString finderLabelTitle() const;

    /*!
        The value named \a key: one of keys(). Strings, booleans and dates come as QString,
        bool and QDateTime (UTC); a missing value is a null QVariant.
    */
    QVariant valueForKey(QStringView key) const override;
    //! The keys valueForKey() answers, in a stable order.
    static QStringList keys();

protected:
    UWStandardFile();
    /*!
        Sets the item up for \a url. \a pathRep (the path's bytes) and \a statInfo (what a
        listing already knows) may be empty and are only used to spare a system call.
        Returns false when the item cannot stand for \a url.
    */
    virtual bool initWithURL(const QUrl &url, const QByteArray &pathRep, const UWStatInfo *statInfo);

private:
    struct Private;
    std::unique_ptr<Private> d;
};

Q_DECLARE_METATYPE(UWStandardFileRef)
