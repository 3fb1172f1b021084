// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

// readTxt() and truncateFile(). Input: a line with the number of lines to keep and, behind
// a blank, the sizes of the blocks that the collector of lines gets, a character each;
// then the content of the file.

#include "Fuzz.h"

#include "files/ZeFileManager.h"
#include "util/LineCollector_p.h"
#include "util/PublicClass.h"

#include <string>

namespace {

/// Byte by byte: the end of a line and the carriage return before it are dropped, and
/// what follows a NUL.
QStringList linesOf(const QByteArray &content)
{
    QStringList lines;
    std::string line;
    const auto end = [&](bool isEnded) {
        if (isEnded && !line.empty() && line.back() == '\r')
            line.pop_back();
        lines.append(QString::fromUtf8(line.c_str()));
        line.clear();
    };
    for (const char c : content) {
        if (c == '\n')
            end(true);
        else
            line += c;
    }
    if (!line.empty())
        end(false);
    return lines;
}

/// Content of which a text stream makes what it says.
bool isPlain(const QByteArray &content)
{
    // Byte order marks choose another encoding, which nothing here is to be.
    for (const char *mark : {"\xEF\xBB\xBF", "\xFE\xFF", "\xFF\xFE"}) {
        if (content.startsWith(mark))
            return false;
    }
    if (content.startsWith(QByteArray("\0\0\xFE\xFF", 4)))
        return false;
    return QString::fromUtf8(content.constData(), content.size()).toUtf8() == content;
}

/// The last @p count lines, each with a line feed; the content itself if it has no more.
QByteArray lastLines(const QByteArray &content, int count)
{
    QList<QByteArray> lines = content.split('\n');
    if (lines.last().isEmpty())
        lines.removeLast();
    if (count >= lines.size())
        return content;
    QByteArray result;
    for (int i = lines.size() - count; i < lines.size(); ++i) {
        QByteArray line = lines.at(i);
        if (line.endsWith('\r')) // Qt drops it at the end of the file, too
            line.chop(1);
        result += line + '\n';
    }
    return result;
}

void checkReader(const Fuzz::MemoryFile &file, const QByteArray &content)
{
    FUZZ_COMPARE(PublicClass::init()->readTxt(file.path()), linesOf(content));
}

/// The lines are the same wherever one block ends and the next begins.
void checkCollector(const QByteArray &sizes, const QByteArray &content)
{
    ZeCore::LineCollector collector;
    int start = 0;
    for (const char c : sizes) {
        const QByteArray block = content.mid(start, static_cast<unsigned char>(c) % 64);
        collector.add(block);
        start += block.size();
    }
    collector.add(content.mid(start));
    FUZZ_COMPARE(collector.finish(), linesOf(content));
}

void checkTruncation(const Fuzz::MemoryFile &file, const QByteArray &content, int count)
{
    FUZZ_CHECK(ZeFileManager::init()->truncateFile(file.path(), count) == (count >= 0));
    if (count < 0)
        FUZZ_COMPARE(file.content(), content);
    else if (isPlain(content))
        FUZZ_COMPARE(file.content(), lastLines(content, count));
}

} // namespace

void Fuzz::runTarget(Input &input)
{
    static const auto *const file = new MemoryFile;
    const QByteArray options = input.takeLine();
    const QByteArray content = input.takeRest();
    const int blank = options.indexOf(' ');
    file->fill(content);
    checkReader(*file, content);
    checkCollector(blank < 0 ? QByteArray() : options.mid(blank + 1), content);
    checkTruncation(*file, content, options.left(blank).toInt());
    FUZZ_COMPARE(takeMessages(), QStringList());
}
