#include "exchange/NewNotePadImport.h"

#include "model/JWMemo.h"
#include "util/StringMarkers.h"
#include "util/StringUtility.h"

#include <QStringView>

#include <algorithm>
#include <vector>

namespace NewNotePadImport {

namespace {

const QString kSignature = QStringLiteral(">>NTP2---------");
const QString kNoteMarker = QStringLiteral(">>NOTE-----------------------------------------");
const QString kGroupMarker = QStringLiteral(">>GROUP========================================");
const QString kGroupEndMarker = QStringLiteral(">>GROUPEND-------------------------------------");
const QString kHeaderEndMarker = QStringLiteral(">>---------------------------------------------");

enum class LineKind
{
    Note,
    Group,
    GroupEnd,
    Other
};

LineKind kindOf(QStringView line)
{
    if (line == kNoteMarker)
        return LineKind::Note;
    if (line == kGroupMarker)
        return LineKind::Group;
    if (line == kGroupEndMarker)
        return LineKind::GroupEnd;
    return LineKind::Other;
}

// The text strictly between the first colon and the next header end marker.
std::optional<QString> titleIn(QStringView text)
{
    const qsizetype colon = text.indexOf(u':');
    if (colon < 0)
        return std::nullopt;
    const qsizetype end = text.indexOf(kHeaderEndMarker, colon + 1);
    if (end <= colon + 1)
        return std::nullopt;
    return text.mid(colon + 1, end - colon - 1).toString();
}

/*
 * A group is read as its lines come: the lines of a nested group go to that
 * group alone, so a stack of the open groups replaces reading each group's
 * text again once it is complete. All open groups count the same marker
 * lines, so only the innermost keeps a depth; an outer group's depth is one
 * more than the group it holds open.
 */
class GroupReader
{
public:
    explicit GroupReader(QStringView text)
        : m_text(text)
    { }

    MemoPtr read(const QString &title)
    {
        MemoPtr root = JWMemo::memo();
        if (!title.isEmpty())
            root->setTitle(title);
        else if (const std::optional<QString> found = titleIn(m_text))
            root->setTitle(*found);
        m_frames.push_back(Frame{root, 0});

        qsizetype position = 0;
        for (;;) {
            const qsizetype newline = m_text.indexOf(u'\n', position);
            const bool last = newline < 0;
            const qsizetype end = last ? m_text.size() : newline;
            if (!readLine(position, end, last && m_frames.size() == 1))
                return nullptr;
            if (last)
                break;
            position = newline + 1;
        }
        finishOpenGroups();
        return root;
    }

private:
    struct Frame
    {
        MemoPtr memo;
        qsizetype textStart = 0; // where the group's text begins, just after its marker
        int depth = 0;
        bool strayGroupEnd = false; // lines are being gathered after an unmatched group end marker
        qsizetype noteStart = -1;
        qsizetype noteEnd = 0;
        qsizetype noteExtraLines = 0;
    };

    // False when the groups nest too deeply.
    bool readLine(qsizetype start, qsizetype end, bool last)
    {
        const QStringView line = m_text.mid(start, end - start);
        Frame &frame = m_frames.back();
        switch (kindOf(line)) {
        case LineKind::Note:
            if (frame.depth != 0)
                break;
            flushNote(frame);
            frame.noteStart = start;
            frame.noteEnd = end;
            frame.noteExtraLines = 0;
            if (last)
                flushNote(frame);
            return true;
        case LineKind::Group:
            flushNote(frame);
            ++frame.depth;
            if (frame.strayGroupEnd || frame.depth < 1) {
                // Gathered after an unmatched end, the group is everything after its marker: nothing.
                frame.strayGroupEnd = false;
                frame.memo->appendChild(memoWithNNPGroup(QStringLiteral("\n"), QString()));
                return true;
            }
            return openGroup(end);
        case LineKind::GroupEnd:
            flushNote(frame);
            --frame.depth;
            if (m_frames.size() > 1) {
                closeGroup(end);
                return true;
            }
            frame.strayGroupEnd = true;
            return true;
        case LineKind::Other:
            break;
        }

        if (frame.strayGroupEnd) {
            // Gathered lines make a group as soon as they hold the group marker
            // anywhere: the rest of this line after it.
            const qsizetype marker = line.indexOf(kGroupMarker);
            if (marker >= 0) {
                frame.strayGroupEnd = false;
                const QString rest = line.mid(marker + kGroupMarker.size()).toString() + u'\n';
                frame.memo->appendChild(memoWithNNPGroup(rest, QString()));
            }
        } else if (frame.noteStart >= 0) {
            frame.noteEnd = end;
            if (last && frame.depth == 0)
                flushNote(frame);
        }
        return true;
    }

    bool openGroup(qsizetype markerEnd)
    {
        if (m_frames.size() > size_t(kMaxGroupDepth))
            return false;
        // Added while still empty, so that adding it costs nothing however large it grows.
        MemoPtr group = JWMemo::memo();
        m_frames.back().memo->appendChild(group);
        m_frames.push_back(Frame{group, markerEnd});
        return true;
    }

    // Ends the innermost group at the end of its text, @p textEnd.
    void closeGroup(qsizetype textEnd)
    {
        const Frame &frame = m_frames.back();
        const qsizetype windowEnd = std::min(textEnd, frame.textStart + kGroupTitleWindow);
        if (const std::optional<QString> title = titleIn(m_text.mid(frame.textStart, windowEnd - frame.textStart)))
            frame.memo->setTitle(*title);
        m_frames.pop_back();
        m_frames.back().depth = 0;
    }

    /*
     * At the end of the text every open group ends. Each enclosing group
     * passes one empty line more to the innermost one, which its open note,
     * if any, keeps.
     */
    void finishOpenGroups()
    {
        Frame &top = m_frames.back();
        if (m_frames.size() > 1 && top.noteStart >= 0) {
            top.noteExtraLines += qsizetype(m_frames.size()) - 1;
            flushNote(top);
        }
        while (m_frames.size() > 1)
            closeGroup(m_text.size());
    }

    void flushNote(Frame &frame)
    {
        if (frame.noteStart < 0)
            return;
        QString note;
        note.reserve(frame.noteEnd - frame.noteStart + 1 + frame.noteExtraLines);
        note.append(m_text.mid(frame.noteStart, frame.noteEnd - frame.noteStart));
        note.append(QString(1 + frame.noteExtraLines, u'\n'));
        frame.memo->appendChild(memoWithNNPNote(note));
        frame.noteStart = -1;
    }

    QStringView m_text;
    std::vector<Frame> m_frames;
};

} // namespace

bool isNewNotePad(const QString &text)
{
    return text.startsWith(kSignature);
}

MemoPtr newMemoFrom_NewNotePad(const QString &text)
{
    if (!isNewNotePad(text))
        return nullptr;
    const QString prepared = StringUtility::replaceReturnCode(StringUtility::removeString(text, kSignature + u'\n'));
    return memoWithNNPGroup(prepared, QStringLiteral("ImportedMemo"));
}

MemoPtr memoWithNNPGroup(const QString &text, const QString &title)
{
    return GroupReader(text).read(title);
}

MemoPtr memoWithNNPNote(const QString &text)
{
    MemoPtr memo = JWMemo::memo();
    const std::optional<QString> body = StringUtility::substringFrom(text, kHeaderEndMarker + u'\n');
    memo->setMemoDataWithPlainText(body.value_or(QString()));
    if (const std::optional<QString> title = titleIn(text))
        memo->setTitle(*title);
    return memo;
}

} // namespace NewNotePadImport
