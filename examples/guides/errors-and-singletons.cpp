// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "core/BaseObject.h"
#include "core/BaseThread.h"
#include "files/ZeFileManager.h"
#include "util/PublicClass.h"

#include <QCoreApplication>
#include <QDebug>

namespace {
/// An object that says why it failed.
class Recipe : public BaseObject
{
public:
    bool load(const QString &path)
    {
        m_tree = ZeFileManager::init()->readJsonFile(path);
        if (!m_tree.isValid())
            setLastError("no recipe:\n" + ZeFileManager::getLastError());
        return m_tree.isValid();
    }

private:
    QVariant m_tree;
};

/// A thread that works until it is asked to stop.
class Poller : public BaseThread
{
protected:
    void run() override
    {
        while (!isNeedStop())
            msleep(10); // ask the device
        setResult(7);
    }
};
} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);

    Recipe recipe;
    if (!recipe.load("/no/such/recipe.json"))
        qDebug() << "for the dialogue:" << recipe.lastError(); // without the line feed

    Poller poller;
    poller.start();
    poller.stopThread(); // asks and waits
    qDebug() << "poller ended with" << poller.result();

    PublicClass::init()->setLastError("of the utility service"); // stores, logs nothing
    qDebug().noquote() << PublicClass::init()->getLastError();
    ZeFileManager::releaseThis(); // the last thing that is done with it
    return 0;
}
