// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "core/JsonTree_p.h"

#include <QtCore/QJsonArray>
#include <QtCore/QJsonObject>
#include <QtCore/QMetaType>

namespace ZeCore {

namespace {

void normalize(QVariant &node);

template <typename Container>
void normalizeChildren(QVariant &node)
{
    // The tree is fresh and unshared, so data() hands out the container itself
    // and the walk changes numbers in place without copying the tree.
    auto &children = *static_cast<Container *>(node.data());
    for (QVariant &child : children)
        normalize(child);
}

void normalize(QVariant &node)
{
    switch (node.userType()) {
    case QMetaType::QVariantMap:
        normalizeChildren<QVariantMap>(node);
        break;
    case QMetaType::QVariantList:
        normalizeChildren<QVariantList>(node);
        break;
    case QMetaType::LongLong:
        node = QVariant(static_cast<double>(node.toLongLong()));
        break;
    case QMetaType::Nullptr:
        node = QVariant();
        break;
    default:
        break;
    }
}

} // namespace

bool isEmptyDocument(const QJsonDocument &document)
{
    if (document.isObject())
        return document.object().isEmpty();
    if (document.isArray())
        return document.array().isEmpty();
    return true;
}

QVariant toVariantTree(const QJsonDocument &document)
{
    QVariant tree = document.toVariant();
    normalize(tree);
    return tree;
}

QJsonDocument documentFromVariant(const QVariant &value)
{
    if (value.userType() == QMetaType::QByteArray)
        return QJsonDocument::fromJson(value.toByteArray());
    return QJsonDocument::fromVariant(value);
}

} // namespace ZeCore
