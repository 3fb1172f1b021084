// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#ifndef LOCALTEXT_P_H
#define LOCALTEXT_P_H

#include <QtCore/QByteArray>
#include <QtCore/QString>

/// Text in the local 8-bit encoding, also while the process is being torn down.
///
/// Qt deletes its codecs during exit, when program statics and a writer thread
/// that was left running may still log. From that moment on these functions use
/// UTF-8 and touch no codec. Thread-safe; the codec is looked up on each call,
/// since QTextCodec::setCodecForLocale() may change it.
namespace ZeCore {

/// As QString::toLocal8Bit(), or UTF-8 once the codecs are gone.
QByteArray toLocalBytes(const QString &text);

/// As QString::fromLocal8Bit(), or from UTF-8 once the codecs are gone.
QString fromLocalBytes(const QByteArray &bytes);

/// Whether toLocalBytes() gives UTF-8 now.
bool isLocalTextUtf8();

} // namespace ZeCore

#endif // LOCALTEXT_P_H
