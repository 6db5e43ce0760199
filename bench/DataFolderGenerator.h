#pragma once

#include "model/JWMemo.h"
#include "platform/base/Result.h"

#include <QString>

#include <array>
#include <random>

/**
 * Makes a data folder such as years of use leave behind, for the store's
 * benchmarks and for trying the application on a large tree: pages nested up
 * to six levels deep under varied titles (words, dates, numbers, a few
 * accents), rich text with bold and italic runs, colours, links and now and
 * then a small picture, some plain-text pages, web clips, tags, label
 * colours, locked and protected pages.
 *
 * The same options give the same tree (titles, text, shape, IDs and dates);
 * only the files' own timestamps differ between runs.
 */
class DataFolderGenerator
{
public:
    /** Changes whenever the same options start giving a different folder, so that cached folders are made afresh. */
    static constexpr int kVersion = 1;

    struct Options
    {
        /** Pages in all, the root included. */
        int pages = 10'000;
        /** The mean size of a page's rich text (flattened RTFD) in bytes; pages vary around it. */
        int textBytes = 5'000;
        quint32 seed = 1;
    };

    /** What a folder received. */
    struct Summary
    {
        int pages = 0;
        /** Levels below the root. */
        int depth = 0;
        /** How many pages each level holds, the root's level first. */
        std::array<int, 7> pagesAtLevel{};
        int webClips = 0;
        int protectedPages = 0;
        int plainTextPages = 0;
        int pagesWithPicture = 0;
        /** The rich text of all pages together. */
        qint64 textBytes = 0;
        int pageFiles = 0;
        qint64 pageFileBytes = 0;
        qint64 dataStoreBytes = 0;
        /** Time spent making the tree in memory and writing it. */
        qint64 buildMilliseconds = 0;
        qint64 writeMilliseconds = 0;
    };

    explicit DataFolderGenerator(Options options);

    /**
     * The tree in memory, IDs rising from 1 at the root with the odd gap, every
     * page marked edited so that saving writes its file. Counts what it made
     * into summary(). Takes no IDs from the preferences.
     */
    [[nodiscard]] MemoPtr makeTree();

    /**
     * Makes the tree and saves it into @p folderPath through the data store,
     * as the application would: the "dataFolderPath" preference is pointed
     * there (and left so), the tree becomes the application's, and the ID
     * counter is brought past the largest ID. The folder may exist but must
     * not hold a data store or page files already: nothing is written over.
     */
    [[nodiscard]] Result<Summary> writeFolder(const QString &folderPath);

    [[nodiscard]] const Summary &summary() const { return m_summary; }

private:
    [[nodiscard]] MemoPtr makePage(qint64 memoID, int depth, qint64 createdSeconds);
    [[nodiscard]] QString makeTitle();
    void fillRichText(JWMemo &memo, int targetBytes, bool withPicture);
    void fillPlainText(JWMemo &memo, int targetBytes);
    [[nodiscard]] QString sentence();
    [[nodiscard]] int randomInt(int low, int high);
    [[nodiscard]] bool chance(double probability);

    Options m_options;
    std::mt19937 m_random;
    Summary m_summary;
    // Plain characters per byte of rich text, learnt as pages are made, so
    // that pages come out near the size asked for.
    double m_charactersPerByte = 0.8;
};
