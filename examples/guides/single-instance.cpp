// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "singleapp/QtSingleCoreApplication.h"

#include <QTextStream>
#include <QTimer>

int main(int argc, char **argv)
{
    QtSingleCoreApplication app("org.example.suite.panel", argc, argv);
    const QString request = app.arguments().value(1, "show");
    QTextStream console(stdout);

    if (app.isRunning()) { // an earlier instance lives: hand over and leave
        const bool isDelivered = app.sendMessage(request, 2000);
        console << (isDelivered ? "handed over: " : "no answer: ") << request << '\n';
        return isDelivered ? 0 : 1;
    }

    QObject::connect(&app, &QtSingleCoreApplication::messageReceived, &app,
                     [&](const QString &text, QObject *socket) {
                         socket->deleteLater(); // ours: frees the connection
                         console << "asked for: " << text << '\n';
                         console.flush();
                         if (text == "quit")
                             app.quit();
                     });
    console << "first instance, waiting for requests\n";
    console.flush();
    QTimer::singleShot(30000, &app, &QCoreApplication::quit); // an example has to end
    return app.exec();
}
