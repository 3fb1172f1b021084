// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#ifndef JSONTREE_P_H
#define JSONTREE_P_H

#include <QtCore/QJsonDocument>
#include <QtCore/QVariant>

/// The JSON rules that the services share, the same on every Qt 5 release.
namespace ZeCore {

/// Whether @p document counts as empty: null, `{}` or `[]`.
/// (QJsonDocument::isEmpty() answers differently for `{}` from Qt 5.15 on.)
bool isEmptyDocument(const QJsonDocument &document);

/// The document as a tree of QVariantMap and QVariantList. Every number is a
/// `double` at every depth and `null` is an invalid QVariant, as Qt 5.12 has it.
QVariant toVariantTree(const QJsonDocument &document);

/// A document from a map or list, or parsed from the bytes of a QByteArray;
/// an empty document from anything else.
QJsonDocument documentFromVariant(const QVariant &value);

} // namespace ZeCore

#endif // JSONTREE_P_H
