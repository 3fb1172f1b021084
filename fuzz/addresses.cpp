// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

// isValidIP(), getMask1Bits() and getCountOneBits(). Input: the address.

#include "Fuzz.h"

#include "util/PublicClass.h"

#include <optional>

namespace {

constexpr int untouched = -77;

/// Reads an address character by character; the number of one bits, if it is an address.
std::optional<int> onesOfAddress(const QString &text)
{
    int fields = 1;
    int digits = 0;
    unsigned value = 0;
    int ones = 0;
    for (const QChar c : text) {
        if (c >= QLatin1Char('0') && c <= QLatin1Char('9')) {
            value = value * 10 + c.unicode() - '0';
            if (++digits > 3 || value > 255)
                return std::nullopt;
        } else if (c == QLatin1Char('.') && digits > 0 && fields < 4) {
            ones += __builtin_popcount(value);
            ++fields;
            digits = 0;
            value = 0;
        } else {
            return std::nullopt;
        }
    }
    if (fields != 4 || digits == 0)
        return std::nullopt;
    return ones + __builtin_popcount(value);
}

/// By the magnitude: from 2^31 on the count is that of 2^32 - n, negated.
int countOfBits(uint number)
{
    return number >> 31 ? -__builtin_popcount(0U - number) : __builtin_popcount(number);
}

void checkCount(const QString &text)
{
    uint number = 0;
    for (const QChar c : text)
        number = number * 31 + c.unicode();
    FUZZ_COMPARE(PublicClass::init()->getCountOneBits(number), countOfBits(number));
}

} // namespace

void Fuzz::runTarget(Input &input)
{
    const QSharedPointer<PublicClass> &service = PublicClass::init();
    const QString text = input.takeRestText();
    const std::optional<int> ones = onesOfAddress(text);
    checkCount(text);

    FUZZ_COMPARE(service->isValidIP(text), ones.has_value());

    service->setLastError(QStringLiteral("untouched"));
    int bits = untouched;
    FUZZ_COMPARE(service->getMask1Bits(text, bits), ones.has_value());
    FUZZ_COMPARE(bits, ones.value_or(untouched));
    const QString prefix = QStringLiteral("Error:PublicClass::");
    FUZZ_COMPARE(service->getLastError(),
                 ones ? prefix + QStringLiteral("untouched")
                      : prefix + QStringLiteral("Invalid subnet mask: ") + text + QLatin1Char(' '));
}
