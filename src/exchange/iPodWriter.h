#pragma once

#include <QList>
#include <QString>
#include <QStringList>
#include <QVariantMap>

/**
 * Copies a page and its subtree to a portable player.
 *
 * The input is a page dictionary: a title, a note text, a status and a list
 * of child dictionaries of the same shape, read through the key operations
 * below, and optionally "Date" and "vCard" strings that go into cards. When
 * the player's folder is named "Notes", every page becomes UTF-16 text files
 * there (long texts in numbered parts, children in a folder named by their
 * parent's title); any other folder receives one vCard file whose cards
 * carry the page texts.
 *
 * The card texts come from the "iPodWriter" strings table. Nothing here
 * reports a failure: a missing folder skips the write, and a file that
 * cannot be written is only logged.
 *
 * This class keeps the player's folder in "Brindle/iPodData.plist" under the
 * XDG data folder; subclasses may keep it elsewhere and read other keys.
 */
class iPodWriter
{
public:
    iPodWriter() = default;
    virtual ~iPodWriter() = default;
    iPodWriter(const iPodWriter &) = delete;
    iPodWriter &operator=(const iPodWriter &) = delete;

    /** The dictionary key of a page's title. */
    [[nodiscard]] virtual QString titleKey() const;
    /** The dictionary key of a page's note text. */
    [[nodiscard]] virtual QString noteKey() const;
    /** The dictionary key of a page's status, the prefix of its card name. */
    [[nodiscard]] virtual QString statusKey() const;
    /** The dictionary key of a page's list of child dictionaries. */
    [[nodiscard]] virtual QString childrenKey() const;
    /** The status of a page whose dictionary has none. */
    [[nodiscard]] virtual QString defaultStatus() const;

    /** The stored player folder; "" when none is stored. */
    [[nodiscard]] virtual QString iPodPath() const;
    /**
     * Stores @p path as the player folder. This class stores only a path
     * that exists, replacing the property list atomically; a path that
     * cannot be stored leaves the old one.
     */
    virtual void setiPodPath(const QString &path);
    /** True when the stored player folder exists. */
    [[nodiscard]] bool isiPodReady() const;

    /**
     * Where a chooser of the player folder starts: the stored folder when it
     * exists; else, taking the folders inside each of @p volumeRoots in turn
     * (by name) as mounted volumes, the "Notes" folder of the first one that
     * has one, or its "Contacts" folder; else the home folder.
     */
    [[nodiscard]] QString initialFolderForChooser(const QStringList &volumeRoots) const;
    /**
     * The folders under which this system mounts removable volumes for the
     * current user: "/media/$USER", "/run/media/$USER" and "/media".
     */
    [[nodiscard]] static QStringList removableVolumeRoots();

    /**
     * Writes @p data and its subtree to the player folder: as notes when the
     * folder is named "Notes", else as one vCard file. Does nothing when the
     * folder does not exist.
     */
    void writeData(const QVariantMap &data) const;

    /**
     * Writes @p data's text into @p folderPath (made when missing) as
     * "<title>.txt", UTF-16 with a byte-order mark after an XML header line.
     * A text of 2000 characters or more is written in parts "<title>1.txt",
     * "<title>2.txt"..., zero-padded so that the names sort in order. A page
     * with children and no text of its own writes no file. The children go
     * the same way into the folder "<title>". Titles are made safe as file
     * names (HierarchyExport::fileBaseName).
     */
    void writeDataAsNote(const QVariantMap &data, const QString &folderPath) const;
    /** Writes the cards of @p data and its subtree as "<title>.vcf" in the player folder, in UTF-16. */
    void writeDataAsvCard(const QVariantMap &data) const;
    /** Appends to @p string the cards of @p data (one per piece) and then those of its children, in order. */
    void makevCardString(QString &string, const QVariantMap &data) const;
    /** One card for @p data, made with the localised "vCardFormat". */
    [[nodiscard]] QString vCardStringFromDictionary(const QVariantMap &data) const;
    /** @p text with every line break (CR LF, CR, LF) written as the two characters backslash and "n". */
    [[nodiscard]] static QString escapeCharactersAsvCard(const QString &text);
    /** The note text of @p data; "" when it has none. */
    [[nodiscard]] QString noteStringFromDictionary(const QVariantMap &data) const;
    /**
     * @p data itself when its note is shorter than 1001 characters. Else the
     * note, with line ends made "\n", cut into pieces of at most 1000
     * characters, each ending after the last "\n" among its final 200 when
     * there is one. Every piece is a dictionary of the title with "-1",
     * "-2"..., the piece as note and the status (or the default status).
     */
    [[nodiscard]] QList<QVariantMap> divideOneMemoAtReturnCode(const QVariantMap &data) const;

private:
    [[nodiscard]] QString statusOf(const QVariantMap &data) const;
};
