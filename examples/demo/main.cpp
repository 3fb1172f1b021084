// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

// What a small program of the suite does with libZeCore, and whether it works:
// the exit status is 0 only if everything that is shown is true.

#include "Demo.h"
#include "FilesDemo.h"
#include "HttpDemo.h"
#include "InstancesDemo.h"
#include "LoggingDemo.h"
#include "UtilityDemo.h"
#include "singleapp/QtSingleCoreApplication.h"
#include "util/PublicClass.h"

#include <QtCore/QCommandLineParser>
#include <QtCore/QUuid>

namespace {

void showIdentity(Demo &demo)
{
    demo.headline("Utility service: where does this program run?");
    PublicClass &service = *PublicClass::init();
    service.appDir = demo.directory();
    service.initMember();
    demo.fact("Controller model", QString("%1 (code %2)").arg(service.zcName).arg(service.zcType));
    demo.fact("Program data", service.appInfoDir);
    QString host;
    service.processCmd("uname -n", host, 5000, true);
    demo.fact("Host name", host.trimmed());
    demo.check(service.zcType >= 0 && service.zcType <= 7, "the controller model is known");
    demo.check(service.logDir == demo.directory() + "/appInfo/log", "the log directory is derived");
}

void keepQuiet(QtMsgType, const QMessageLogContext &, const QString &) { }

} // namespace

int main(int argc, char **argv)
{
    if (const std::optional<int> status = runAsOtherInstance(argc, argv))
        return *status;

    // Suite programs have a fixed id; a demonstration must not meet another one.
    QtSingleCoreApplication app("zecore.demo." + QUuid::createUuid().toString(QUuid::Id128), argc,
                                argv);
    QCommandLineParser parser;
    parser.setApplicationDescription("Shows the services of libZeCore at work.");
    const QCommandLineOption quick("quick", "Less of everything, for use as a test.");
    parser.addOption(quick);
    parser.addHelpOption();
    parser.process(app);

    // The services log from the start; until the logger runs, nobody needs to see it.
    qInstallMessageHandler(keepQuiet);
    Demo demo(parser.isSet(quick));
    showIdentity(demo);
    showInstances(demo, app);
    showSignalBus(demo);
    showVersions(demo);
    showActionHistory(demo);
    showFiles(demo);
    showStorage(demo);
    showHttp(demo);
    {
        LoggingDemo logging(demo);
        logging.showParallelLogging();
        logging.showChangeOfFile();
        logging.stop();
    }
    qInstallMessageHandler(keepQuiet);
    return demo.finish();
}
