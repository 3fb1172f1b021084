// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

// findRegExp() with patterns whose matches can be told without a matcher: each class of
// characters excludes what may follow it, so that no match ever has to be tried again.
// Input: a byte that chooses the pattern, then the text.

#include "Fuzz.h"

#include "util/PublicClass.h"

#include <vector>

namespace {

using Class = bool (*)(QChar);

template <char16_t C>
bool is(QChar c)
{
    return c.unicode() == C;
}

template <char16_t C>
bool isNot(QChar c)
{
    return c.unicode() != C;
}

bool isDigit(QChar c)
{
    return c.isDigit();
}

bool isWord(QChar c)
{
    return c.isLetterOrNumber() || c.isMark() || c.unicode() == '_';
}

bool isSpace(QChar c)
{
    return c.isSpace();
}

bool isLower(QChar c)
{
    return c.unicode() >= 'a' && c.unicode() <= 'z';
}

bool isAny(QChar)
{
    return true;
}

constexpr int unlimited = 1 << 30;

/// So many characters of a class, as many as there are.
struct Step
{
    Class is;
    int least;
    int most;
    bool isCaptured;
};

struct Pattern
{
    const char *expression;
    std::vector<Step> steps;
};

const std::vector<Pattern> &patterns()
{
    static const auto *const list = new std::vector<Pattern>{
        {"(\\d+)", {{isDigit, 1, unlimited, true}}},
        {"(\\w+)@", {{isWord, 1, unlimited, true}, {is<u'@'>, 1, 1, false}}},
        {"\\[([^\\]]*)\\]",
         {{is<u'['>, 1, 1, false}, {isNot<u']'>, 0, unlimited, true}, {is<u']'>, 1, 1, false}}},
        {"\"([^\"]*)\"",
         {{is<u'"'>, 1, 1, false}, {isNot<u'"'>, 0, unlimited, true}, {is<u'"'>, 1, 1, false}}},
        {"a(b?)c", {{is<u'a'>, 1, 1, false}, {is<u'b'>, 0, 1, true}, {is<u'c'>, 1, 1, false}}},
        {"x", {{is<u'x'>, 1, 1, false}}},
        {"([a-z]+)=", {{isLower, 1, unlimited, true}, {is<u'='>, 1, 1, false}}},
        {"(\\d{2,3}):", {{isDigit, 2, 3, true}, {is<u':'>, 1, 1, false}}},
        {"\\s+(\\S)",
         {{isSpace, 1, unlimited, false}, {[](QChar c) { return !isSpace(c); }, 1, 1, true}}},
        {"(.)", {{isAny, 1, 1, true}}},
        {"(\\d*)", {{isDigit, 0, unlimited, true}}},
    };
    return *list;
}

struct Match
{
    int end;
    QString captured;
};

/// Matches at @p start; the end is -1 if it does not.
Match matchAt(const Pattern &pattern, const QString &text, int start)
{
    Match match{start, QString()};
    for (const Step &step : pattern.steps) {
        int count = 0;
        while (count < step.most && match.end < text.size() && step.is(text.at(match.end))) {
            if (step.isCaptured)
                match.captured += text.at(match.end);
            ++match.end;
            ++count;
        }
        if (count < step.least)
            return {-1, QString()};
    }
    return match;
}

QStringList capturesOf(const Pattern &pattern, const QString &text)
{
    QStringList captures;
    for (int start = 0; start <= text.size();) {
        const Match match = matchAt(pattern, text, start);
        if (match.end < 0) {
            ++start;
            continue;
        }
        if (match.end == start) // the search ends before an empty match
            break;
        captures.append(match.captured);
        start = match.end;
    }
    return captures;
}

} // namespace

void Fuzz::runTarget(Input &input)
{
    const Pattern &pattern = patterns().at(input.takeByte() % patterns().size());
    const QString text = input.takeRestText();
    FUZZ_COMPARE(PublicClass::init()->findRegExp(QString::fromLatin1(pattern.expression), text),
                 capturesOf(pattern, text));
}
