// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

// The parser of what "df -h" prints. Input: the output.

#include "Fuzz.h"

#include "files/DiskFree_p.h"

#include <string>
#include <vector>

namespace {

using Fields = std::vector<std::string>;

/// Latin-1 without what is white space at either end.
std::string trimmed(const std::string &part)
{
    const auto isSpace = [](char c) {
        const auto code = static_cast<unsigned char>(c);
        return code == ' ' || (code >= '\t' && code <= '\r') || code == 0x85 || code == 0xA0;
    };
    size_t first = 0;
    size_t end = part.size();
    while (first < end && isSpace(part[first]))
        ++first;
    while (end > first && isSpace(part[end - 1]))
        --end;
    return part.substr(first, end - first);
}

/// A state machine over the bytes: the fields of every line but the first.
std::vector<Fields> fieldsOfLines(const QByteArray &output)
{
    std::vector<Fields> lines;
    Fields fields;
    std::string part;
    bool isAtStart = true;
    bool isCut = false; // a NUL ends the text of a line
    const auto endPart = [&] {
        part = trimmed(part);
        if (!part.empty())
            fields.push_back(part);
        part.clear();
    };
    const auto endLine = [&] {
        endPart();
        lines.push_back(fields);
        fields.clear();
        isAtStart = true;
        isCut = false;
    };
    for (const char c : output) {
        isAtStart = false;
        if (c == '\n')
            endLine();
        else if (c == '\0')
            isCut = true;
        else if (isCut)
            continue;
        else if (c == ' ')
            endPart();
        else
            part += c;
    }
    if (!isAtStart)
        endLine();
    if (!lines.empty())
        lines.erase(lines.begin());
    return lines;
}

/// A percentage without its last character; 0 if that is no 32-bit number.
int percentOf(const std::string &field)
{
    const std::string digits = trimmed(field.substr(0, field.empty() ? 0 : field.size() - 1));
    const bool isSigned = !digits.empty() && (digits[0] == '+' || digits[0] == '-');
    long long value = 0;
    size_t i = isSigned ? 1 : 0;
    if (i == digits.size())
        return 0;
    for (; i < digits.size(); ++i) {
        if (digits[i] < '0' || digits[i] > '9' || value > 1LL << 40)
            return 0;
        value = value * 10 + (digits[i] - '0');
    }
    if (digits[0] == '-')
        value = -value;
    const int result = static_cast<int>(value);
    return result == value ? result : 0;
}

QString text(const Fields &fields, size_t index)
{
    return index < fields.size() ? QString::fromLatin1(fields[index].c_str()) : QString();
}

} // namespace

void Fuzz::runTarget(Input &input)
{
    const QByteArray output = input.takeRest();
    const std::vector<Fields> expected = fieldsOfLines(output);
    const QVector<ZeCore::DiskFreeLine> lines = ZeCore::parseDiskFree(output);
    FUZZ_COMPARE(static_cast<size_t>(lines.size()), expected.size());
    for (int i = 0; i < lines.size(); ++i) {
        const ZeCore::DiskFreeLine &line = lines.at(i);
        const Fields &fields = expected[static_cast<size_t>(i)];
        FUZZ_COMPARE(line.device, text(fields, 0));
        FUZZ_COMPARE(line.size, text(fields, 1));
        FUZZ_COMPARE(line.used, text(fields, 2));
        FUZZ_COMPARE(line.available, text(fields, 3));
        FUZZ_COMPARE(line.usedPercent, fields.size() > 4 ? percentOf(fields[4]) : 0);
        FUZZ_COMPARE(line.mountPoint, fields.empty() ? QString() : text(fields, fields.size() - 1));
    }
}
