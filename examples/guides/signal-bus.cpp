// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "core/SendGlobalMsg.h"

#include <QCoreApplication>
#include <QDebug>

#include <thread>

namespace {

/// A window of the program: saves its layout when anybody asks for it.
class Panel : public QObject
{
public:
    Panel()
    {
        connect(SendGlobalMsg::init(), &SendGlobalMsg::sigSendGlobalMsg, this, &Panel::onEvent);
        connect(SendGlobalMsg::init(), &SendGlobalMsg::sigSendGlobalMsgResult, this,
                [](int event, const QVariant &map, bool isError) {
                    if (event == SendGlobalMsg::E_GS_UploadLMap)
                        qDebug() << "map" << map.toString() << (isError ? "failed" : "is there");
                    QCoreApplication::quit();
                });
    }

private:
    void onEvent(int event, const QVariant &payload)
    {
        if (event == SendGlobalMsg::E_GS_SaveLayout)
            qDebug() << "layout saved as" << payload.toString();
        else if (event == ownEvent)
            qDebug() << "an event of this program alone:" << payload.toInt();
    }

    static constexpr int ownEvent = 1000; // beyond the list: passed on, without a name
};

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    SendGlobalMsg *const bus = SendGlobalMsg::init(); // here first: it lives in this thread
    const Panel panel;

    bus->sendGlobalMsg(SendGlobalMsg::E_GS_SaveLayout, "welding"); // received at once
    bus->sendGlobalMsg(1000, 42);

    std::thread upload([bus] { // received later, by the event loop of the panel's thread
        bus->sendGlobalMsgResult(SendGlobalMsg::E_GS_UploadLMap, "hall 3", false);
    });
    const int code = app.exec();
    upload.join();
    return code;
}
