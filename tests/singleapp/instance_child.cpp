// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

// One instance of an application: instance_child ID [nobody|brief].
// Says "ready", then obeys the lines of its standard input until it ends:
//   running [PID]           says "running yes|no"
//   send TIMEOUT PID TEXT   says "sent yes|no"; -1 for the default target
//   block                   setBlock(true)
//   id                      says the application id
//   peers                   says how many peers belong to the application object
//   keep                    from now on keeps the connections of the messages it gets
//   drop                    closes the kept ones
//   sleep MS                serves nothing for so long
// and says "message TEXT" for each message. "brief" leaves at once.

#include "Commands.h"
#include "singleapp/QtLocalPeer.h"
#include "singleapp/QtSingleCoreApplication.h"

#include <QtCore/QThread>
#include <QtNetwork/QLocalSocket>

using TestSupport::say;
using TestSupport::yesNo;

int main(int argc, char **argv)
{
    const QByteArray extra = argc > 2 ? QByteArray(argv[2]) : QByteArray();
    if (extra == "nobody" && !TestSupport::becomeNobody())
        return 2;
    QtSingleCoreApplication app(QString::fromUtf8(argv[1]), argc, argv);
    bool keeps = false;
    QObjectList kept;
    QObject::connect(&app, &QtSingleCoreApplication::messageReceived, &app,
                     [&keeps, &kept](const QString &text, QObject *socket) {
                         say("message " + text.toUtf8());
                         if (keeps)
                             kept.append(socket);
                         else
                             socket->deleteLater();
                     });
    if (auto *peer = app.findChild<QtLocalPeer *>()) {
        QObject::connect(peer, &QObject::destroyed, peer, [] {
            if (!QCoreApplication::instance())
                say("the peer outlived the application");
        });
    }
    say("ready");
    if (extra == "brief")
        return 0;
    const TestSupport::CommandReader commands([&](const QList<QByteArray> &words) {
        const QByteArray &word = words.first();
        if (word == "running")
            say(QByteArray("running ")
                + yesNo(words.size() > 1 ? app.isRunning(words.at(1).toLongLong())
                                         : app.isRunning()));
        else if (word == "send")
            say(QByteArray("sent ")
                + yesNo(app.sendMessage(QString::fromUtf8(words.at(3)), words.at(1).toInt(),
                                        words.at(2).toLongLong())));
        else if (word == "block")
            app.setBlock(true);
        else if (word == "id")
            say(app.applicationId().toUtf8());
        else if (word == "peers")
            say(QByteArray::number(app.findChildren<QtLocalPeer *>().size()));
        else if (word == "keep")
            keeps = true;
        else if (word == "drop")
            qDeleteAll(kept);
        else if (word == "sleep")
            QThread::msleep(words.at(1).toULong());
    });
    return QCoreApplication::exec();
}
