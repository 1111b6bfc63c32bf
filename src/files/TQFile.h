// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#pragma once

/*!
    \file TQFile.h
    \ingroup files
    \brief TQFile, the file item of the browser, with its sort columns, folder priorities and filters.
*/

#include "TQPredicate.h"
#include "TQSortDescriptor.h"
#include "UWStandardFile.h"
#include "tqkit_export.h"

#include <QDateTime>
#include <QSizeF>
#include <QString>
#include <QVariantMap>

#include <memory>

class TQFile;
struct TQFileKinds;
class UWFileSubscription;

/*!
    The columns a browser sorts a folder by, for C++ callers of
    TQFile::sortDescriptorsForSortType(); the numbers are the ones hosts store.

    \ingroup files
*/
enum class TQSortType : int {
    Name = 0,
    FileSize = 1,
    Kind = 3,
    Megapixels = 4,
    ImageDepth = 5,
    ModificationDate = 6,
    Random = 7,
    ColorProfile = 8,
    CreationDate = 9,
    Label = 13,
    Height = 14,
    Width = 15,
    ExifDate = 16,
    GeneralOrientation = 17,
    ExposureTime = 18,
    FNumber = 19,
    ISO = 20,
    FocalLength = 21,
    CameraModel = 22,
    DateAdded = 23,
};

//! Where folders go in a sorted folder.
enum class TQFolderPriority : int {
    Mixed = 0,         //!< among the files (any number but 10 and 11)
    FoldersFirst = 10,
    FoldersLast = 11,
};

//! The filter presets of TQFile::filterPredicateForFilterType().
enum class TQFilterType : int {
    Visible = 0,
    Everything = 1,
    VisibleImages = 2,
    VisibleMedia = 3,
    VisibleImagesAndFolders = 4,
    VisibleMediaAndFolders = 5,
    VisibleFolders = 6,
    VisibleNonFolders = 7,
};

//! A sort column: the key it sorts by, and whether by name order (else by natural order).
struct TQSortColumn
{
    TQSortType type;        //!< the column
    QString key;            //!< the key whose values it sorts by
    bool nameOrder = false; //!< by the name order rather than the values' natural order
    //! Equal when type, key and nameOrder are.
    bool operator==(const TQSortColumn &) const = default;
};

//! A file item of the browser, held shared like every item.
using TQFileRef = std::shared_ptr<TQFile>;

/*!
    \class TQMarkableItemProtocol
    \brief Items that carry the host's marks: a map whose keys and values are the host's.

    Reading and replacing the map are atomic (another thread may read or replace it safely);
    what is inside is the host's business.

    \ingroup files
*/
class TQKIT_EXPORT TQMarkableItemProtocol
{
public:
    virtual ~TQMarkableItemProtocol();
    //! The host's marks; an empty map until set.
    virtual QVariantMap marks() const = 0;
    //! Replaces the host's marks with \a marks.
    virtual void setMarks(const QVariantMap &marks) = 0;
};

/*!
    \class TQFile
    \brief The file item of the browser: what a file holds, its size and dates as text, the
    applications that open it, and (for images) its metadata and orientation.

    Every item of a program that links TQKit is a TQFile: the library installs its factory in
    the file manager when it loads, so folder listings, archives and links all give TQFile
    items. Use fromItem() to get at the TQFile side of a UWStandardFileRef.

    Each value is computed on first request and cached; updateForEvent() and
    placeholderStatusChanged() empty the caches and announce the keys they reset.

    \par Keys
    One table in the implementation lists every key this class adds or announces: its getter,
    its peek (cachedValueForKey()), whether it is announced by hand, which reset announces it
    and in which order, and the column that sorts by it. keys(), valueForKey(),
    automaticallyNotifiesObserversForKey(), keysResetBy(), sortColumns() and the descriptors
    are read from it. "isMedia" and "isPreviewable" are announced by hand but cached by no
    one: they follow from the kinds, and their observers watch the kinds. "isInTrash" is
    announced by hand and emptied by events when known, but nothing in the library fills it:
    valueForKey() does not answer it.

    \par Threads
    Like the base class (see UWStandardFile, "Threads"): every getter, valueForKey() and
    cachedValueForKey() may be called from any thread while the main thread applies events.
    The item's own values live in one record that each reset replaces; a reset that runs in
    steps (updateForEvent(): this class's resets, then the base's new status) stores nothing
    that was computed before its last step. Resets, observers and announcements belong to the
    main thread; marks() and setMarks() are atomic; a name sort key handed out stays valid
    until the item goes (each one that a rename or a new locale replaced is kept).

    \par Log
    The category "tqkit.files" carries the item's diagnostic lines ("UTI %1 for %2 not an
    image", "Error getting file size for file %1", "Error rotating image %1"); a host silences
    it with QLoggingCategory's rules.

    \ingroup files
*/
class TQKIT_EXPORT TQFile : public UWStandardFile, public TQMarkableItemProtocol
{
public:
    //! A new item for \a url (see UWStandardFile::newFileForURL()).
    static TQFileRef newFileForURL(const QUrl &url);
    //! A new item for the local path \a path.
    static TQFileRef newFileForPath(const QString &path);
    //! newFileForPath() for a path in the file system's own bytes, which need not be UTF-8.
    static TQFileRef newFileForNativePath(const QByteArray &nativePath);
    //! The TQFile side of \a item; nullptr when it is not one (a factory other than the
    //! library's was installed).
    static TQFileRef fromItem(const UWStandardFileRef &item);
    //! The item \a value holds, as a UWStandardFileRef or a TQFileRef (rows and records keep
    //! items under either); nullptr for any other value.
    static UWStandardFileRef itemFromValue(const QVariant &value);

    ~TQFile() override;

    //! True when the resolved type is an image type ("public.image" or EPS). Logs the line
    //! "UTI %1 for %2 not an image" for every answer no, folders included. Cached.
    bool isImage() const;
    //! True when the resolved type is audio. Cached.
    bool isMusic() const;
    //! True when the resolved type is text. Cached.
    bool isText() const;
    //! True when the item's own type (not the resolved one) is audiovisual: audio files are
    //! movies too. Cached.
    bool isMovie() const;
    //! Not for plain folders; images; else content or composite content. Not cached.
    bool isPreviewable() const;
    //! Not for plain folders; else image, movie, music or text, asked in that order.
    bool isMedia() const;

    /*!
        The size in bytes (the entry's own size; 0 for plain folders and placeholders). A file
        that cannot be read logs "Error getting file size for file %1" and counts as 0.
    */
    qint64 fileSize() const;
    //! The size as people read it, in decimal units ("123.5 MB"); empty for plain folders.
    QString fileSizeString() const;

    //! The dates as text, the locale's medium date and short time ("Nov 21, 2026, 5:27 AM"),
    //! in local time; empty for placeholders and missing dates.
    //!@{
    QString modificationDateString() const;
    QString creationDateString() const;
    QString dateAddedString() const;
    //!@}
    /*!
        Fills its own cache with the access date's text but answers the creation-date text as
        cached at that moment: nothing until creationDateString() has been asked for. Hosts
        rely on this answer, so it stays so.
    */
    QString accessDateString() const;

    /*!
        The application that opens the file by default, as a new item for its desktop entry
        (showing the entry's name and icon); nullptr for placeholders and when none is set.
        Not cached: asks the desktop's associations each time.
    */
    TQFileRef preferredApplication() const;
    //! The editor; the desktop has no editor role, so the same rule as preferredApplication().
    TQFileRef editorApplication() const;

    //! True when the item is writable and of a type whose metadata the library may rewrite.
    //! Cached.
    bool hasEditableImageMetadata() const;
    /*!
        Writes \a orientation (1..8) into the image file, losslessly and atomically, and tells
        the file manager that the folder changed. False when the item's metadata is not
        editable or the write failed (the file is then untouched). Blocks for the file's I/O.
        The item's own caches are emptied by the event that follows, not here.
    */
    bool setImageOrientation(int orientation);
    //! The same, with the reason in \a reason when the answer is false.
    bool setImageOrientation(int orientation, QString *reason);
    /*!
        The orientation the image file states now (1 to 8; 1 when it states none), read from
        the file on every call; 0 when it cannot be read. For writing a turn; the cached image
        metadata answers for display.
    */
    int storedImageOrientation() const;

    /*!
        \name Image metadata
        Read from the file once (image 0, headers and metadata only) when the first of these
        values is asked for, and cached until the file changes. Non-images answer an empty
        dictionary, zeros, TQDistantPast() and empty texts. Blocks for the read.
    */
    //@{
    //! True when the property dictionary is at hand (reads it if needed).
    bool findAllImageInfo() const;
    QVariantMap imageProperties() const;
    int orientation() const;
    QSizeF trueDimensions() const;
    QSizeF dimensions() const;
    double dimensionsWidth() const;
    double dimensionsHeight() const;
    double megapixels() const;
    QString dimensionsString() const;
    QString megapixelString() const;
    uint generalOrientation() const;
    QString generalOrientationString() const;
    double focalLength() const;
    QString focalLengthString() const;
    double ISO() const;
    QString ISOString() const;
    double exposureTime() const;
    QString exposureTimeString() const;
    double fNumber() const;
    QString fNumberString() const;
    QDateTime EXIFDate() const;
    QString EXIFDateString() const;
    QString imageDepthString() const;
    QString ICCProfileString() const;
    QString resolutionString() const;
    QString cameraModelString() const;
    //@}

    //! The process-wide list of image types: "public.image" and EPS.
    static QStringList imageTypes();
    //! The process-wide list of movie types: every audiovisual type.
    static QStringList movieTypes();

    //! Unused by the library; -1 until a host sets it. Atomic.
    int imageOrientation() const;
    void setImageOrientationValue(int orientation);

    /*!
        \name Sorting and filtering
        A browser sorts a folder by one of its columns and filters it by a preset; these give
        the descriptors and predicates for both, by number. The keys they name are keys of
        the item (valueForKey()); with a non-empty \a itemKeyPath each key becomes
        "itemKeyPath.key", so the same order and filter work on rows that hold an item under
        that key path (a map with the item under "file", a bookmark record).
    */
    //@{
    /*!
        The sort order of column \a sortType: the folder descriptor (folder priority 10:
        "isDirectory" descending, folders first; 11: ascending, folders last; other values:
        none), then the column's key in the direction \a ascending, then "displayName" in name
        order and the same direction to break ties. Name order for the text columns, natural
        order for numbers and dates:

        0 "displayName" (the name descriptor itself, not repeated), 1 "fileSize",
        3 "kindString", 4 "megapixels", 5 "imageDepthString", 6 "modificationDate",
        7 "displayName" by a comparator that answers at random, 8 "ICCProfileString",
        9 "creationDate", 13 "finderLabelSortValue", 14 "dimensionsHeight",
        15 "dimensionsWidth", 16 "EXIFDate", 17 "generalOrientation", 18 "exposureTime",
        19 "fNumber", 20 "ISO", 21 "focalLength", 22 "cameraModelString", 23 "addedDate".
        Other types (2, 10, 11, 12, 24 and above, negative) sort by name alone.
    */
    static QList<TQSortDescriptor> sortDescriptorsForSortType(int sortType, int folderPriority, bool ascending,
                                                              const QString &itemKeyPath = {});
    //! The same for C++ callers.
    static QList<TQSortDescriptor> sortDescriptorsForSortType(TQSortType sortType, TQFolderPriority folderPriority,
                                                              bool ascending, const QString &itemKeyPath = {})
    {
        return sortDescriptorsForSortType(int(sortType), int(folderPriority), ascending, itemKeyPath);
    }
    //! The columns that sort by a key of their own, by type (not 7, which sorts at random).
    static QList<TQSortColumn> sortColumns();
    /*!
        The filter of preset \a filterType:
        0 "%K == NO" on "isInvisible" (visible items);
        1 TRUEPREDICATE (everything);
        2 "(%K == NO) && (%K == YES)" on "isInvisible", "isImage";
        3 the same on "isInvisible", "isMedia";
        4 "(%K == NO) && ((%K == YES) || (%K == YES))" on "isInvisible", "isImage", "isDirectory";
        5 the same on "isInvisible", "isMedia", "isDirectory";
        6 "(%K == NO) && (%K == YES)" on "isInvisible", "isDirectory" (visible folders);
        7 "(%K == NO) && (%K == NO)" on "isInvisible", "isDirectory" (visible non-folders);
        8 and above (and negative): no filter, nullopt.
        With \a excludeFolders the preset is ANDed with "%K == NO" on "isDirectory", except
        preset 6, which is returned as it is. Presets without a filter cannot exclude folders:
        asking for both throws TQInvalidParameterException ("nil != predicate").
    */
    static std::optional<TQPredicate> filterPredicateForFilterType(int filterType, bool excludeFolders,
                                                                   const QString &itemKeyPath = {});
    //! The same for C++ callers.
    static std::optional<TQPredicate> filterPredicateForFilterType(TQFilterType filterType, bool excludeFolders,
                                                                   const QString &itemKeyPath = {})
    {
        return filterPredicateForFilterType(int(filterType), excludeFolders, itemKeyPath);
    }
    /*!
        False for the 38 keys whose changes the item announces itself (sizes, date texts,
        kinds, the image values: see _resetImageProperties() and updateForEvent()); the base
        class's answer for every other key. "dimensionsHeight" is announced automatically.
    */
    static bool automaticallyNotifiesObserversForKey(QStringView key);
    //! The keys announced by hand (the ones automaticallyNotifiesObserversForKey() says no to).
    static QStringList keysAnnouncedByHand();

    //! The resets of the item's own values; each announces its keys in table order.
    enum class Reset : quint8 {
        EveryEvent = 0x01,        //!< updateForEvent(), whatever the event
        ImageProperties = 0x02,   //!< _resetImageProperties(), as one change
        ContentChange = 0x04,     //!< event types 1, 2 and 4: each filled cache, in turn
        PlaceholderChange = 0x08, //!< placeholderStatusChanged(): the same but the trash state
        LabelChange = 0x10,       //!< setFinderLabel(), around the base's announcement
    };
    //! The keys \a reset announces, in the order of their will-change announcements (a
    //! cache-filling reset announces only those that are filled).
    static QStringList keysResetBy(Reset reset);
    /*!
        The value the item sorts by under \a sortType (see sortDescriptorsForSortType()),
        except that type 7 gives a new random 32-bit number on every call and type 23 the
        "dateAdded" value; unknown types give the display name.
    */
    QVariant comparisonValueForType(int sortType) const;
    //! "" for an item without a label, else the label's name: label columns sort by name.
    QString finderLabelSortValue() const;
    //! UWStandardFile::setFinderLabel(), announcing "finderLabelSortValue" around it too.
    bool setFinderLabel(int label, QString *error = nullptr) override;
    //@}

    /*!
        Counts the entries of this folder (not of its subfolders): folders into \a folders
        unless \a directoryFilter rejects them, other entries into \a files unless
        \a fileFilter rejects them, every counted entry into \a total. Each count may be
        nullptr; with all three null the answer is true at once, without listing. False
        (nothing written) when the item is not a folder. A folder that cannot be read counts
        as empty.

        Lists through the shared file manager's subscription of the resolved folder when
        there is a manager, else with a UWFileLoadOperation; either way on the calling thread,
        which it blocks for the time of the listing: for a background thread or small folders.
    */
    bool countOfFiles(uint *files, uint *folders, uint *total, const TQPredicate *fileFilter = nullptr,
                      const TQPredicate *directoryFilter = nullptr) const;
    //! The same with \a subscription's files (loaded now), or, when it is nullptr, with a
    //! UWFileLoadOperation of the resolved item. Does not ask whether the item is a folder:
    //! a file lists as empty, counts 0 and answers true.
    bool countOfFiles(uint *files, uint *folders, uint *total, UWFileSubscription *subscription,
                      const TQPredicate *fileFilter, const TQPredicate *directoryFilter) const;

    QVariantMap marks() const override;
    void setMarks(const QVariantMap &marks) override;

    QVariant valueForKey(QStringView key) const override;
    std::optional<QVariant> cachedValueForKey(QStringView key) const override;
    void prefetchValueForKey(QStringView key, int step) const override;
    //! The size and the dates as numbers; other keys through valueForKey().
    SortNumber sortNumberForKey(QStringView key, qint64 *number) const override;
    //! Keeps the sort key of "displayName" until the name or the default locale changes.
    const TQStringUtilities::FinderStyleSortKey *nameSortKeyForKey(QStringView key) const override;
    static QStringList keys();

    void updateForEvent(const UWFileEvent &event) override;
    void placeholderStatusChanged() override;

    //! The item's caches; their layout is private to the library.
    struct Caches;

protected:
    TQFile();
    bool initWithURL(const QUrl &url, const QByteArray &pathRep, const UWStatInfo *statInfo) override;

protected:
    //! Empties every image-metadata cache between its announcements; the next request reads
    //! the file again.
    void _resetImageProperties();

private:
    friend struct TQFileFactory;
    friend struct TQFileKeys;
    friend TQFileKinds tqFileKinds(const TQFile &file);
    void runReset(Reset reset, bool onlyFilled);
    std::unique_ptr<Caches> const d;
};
