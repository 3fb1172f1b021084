// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

// Versions and the labels of sensor firmware. Input: two lines, one for each.

#include "Fuzz.h"

#include "util/PublicClass.h"

#include <string>
#include <utility>
#include <vector>

namespace {

using Text = std::u16string;

/// A field as a 32-bit number, 0 if it is none.
int numberOf(const Text &field)
{
    size_t first = 0;
    size_t end = field.size();
    while (first < end && QChar(field[first]).isSpace())
        ++first;
    while (end > first && QChar(field[end - 1]).isSpace())
        --end;
    if (first == end)
        return 0;
    // U+2212 is what Qt takes for a minus as well.
    const bool isNegative = field[first] == u'-' || field[first] == u'\u2212';
    if (isNegative || field[first] == u'+')
        ++first;
    if (first == end)
        return 0;
    long long value = 0;
    for (; first < end; ++first) {
        if (field[first] < u'0' || field[first] > u'9' || value > 1LL << 40)
            return 0;
        value = value * 10 + (field[first] - u'0');
    }
    value = isNegative ? -value : value;
    const int result = static_cast<int>(value);
    return result == value ? result : 0;
}

Text without(const Text &text, char16_t letter)
{
    Text rest;
    for (const char16_t c : text) {
        if (c != letter)
            rest += c;
    }
    return rest;
}

std::vector<int> numbersOf(const Text &text)
{
    std::vector<int> numbers;
    Text field;
    for (const char16_t c : text + u'.') {
        if (c != u'.') {
            field += c;
            continue;
        }
        numbers.push_back(numberOf(field));
        field.clear();
    }
    return numbers;
}

bool isLow(const Text &textOfA, const Text &textOfB)
{
    const Text a = without(textOfA, u'v');
    const Text b = without(textOfB, u'v');
    if (a.find(u'.') == Text::npos || b.find(u'.') == Text::npos)
        return true;
    std::vector<int> numbersOfA = numbersOf(a);
    std::vector<int> numbersOfB = numbersOf(b);
    const size_t common = std::min(numbersOfA.size(), numbersOfB.size());
    numbersOfA.resize(common);
    numbersOfB.resize(common);
    // Vectors compare by the first difference; without one the texts decide.
    return numbersOfA == numbersOfB ? a != b : numbersOfA < numbersOfB;
}

struct Label
{
    bool isValid = false;
    Text prefix;
    Text version;
};

Label labelOf(const Text &text)
{
    Label label;
    for (const char16_t c : text) {
        if (c == u'-' && label.isValid)
            break;
        if (c == u'-')
            label.isValid = true;
        else
            (label.isValid ? label.version : label.prefix) += c;
    }
    return label;
}

Text withDots(Text text)
{
    for (char16_t &c : text)
        c = c == u'_' ? u'.' : c;
    return text;
}

/// One blank for each run of white space, none at the ends.
Text simplified(const Text &text)
{
    Text result;
    bool isDue = false;
    for (const char16_t c : text) {
        if (QChar(c).isSpace()) {
            isDue = !result.empty();
        } else {
            if (std::exchange(isDue, false))
                result += u' ';
            result += c;
        }
    }
    return result;
}

bool isSameGyro(const Text &a, const Text &b)
{
    const Label first = labelOf(a);
    const Label second = labelOf(b);
    if (!first.isValid || !second.isValid || simplified(first.prefix) != simplified(second.prefix))
        return false;
    const Text version = without(withDots(simplified(first.version)), u'v');
    return version.find(u'.') != Text::npos && version == without(simplified(second.version), u'v');
}

bool isLowGyro(const Text &a, const Text &b)
{
    const Label first = labelOf(a);
    const Label second = labelOf(b);
    if (!first.isValid || !second.isValid || first.prefix != second.prefix)
        return true;
    return isLow(second.version, withDots(first.version));
}

} // namespace

void Fuzz::runTarget(Input &input)
{
    const QString a = input.takeLineText();
    const QString b = input.takeLineText();
    const Text textOfA = a.toStdU16String();
    const Text textOfB = b.toStdU16String();

    FUZZ_COMPARE(PublicClass::isLowVersion(a, b), isLow(textOfA, textOfB));
    // NOLINTNEXTLINE(readability-suspicious-call-argument): the other way round
    FUZZ_COMPARE(PublicClass::isLowVersion(b, a), isLow(textOfB, textOfA));
    FUZZ_COMPARE(PublicClass::isSameGyroVersion(a, b), isSameGyro(textOfA, textOfB));
    FUZZ_COMPARE(PublicClass::isLowGyroVersion(a, b), isLowGyro(textOfA, textOfB));
    FUZZ_COMPARE(takeMessages(), QStringList());

    // No version is below a higher one in both directions, unless their common fields agree.
    if (!PublicClass::isLowVersion(a, b) && without(textOfA, u'v') != without(textOfB, u'v'))
        FUZZ_CHECK(PublicClass::isLowVersion(b, a));
}
