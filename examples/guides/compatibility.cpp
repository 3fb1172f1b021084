// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "core/SendGlobalMsg.h"
#include "files/ZeFileManager.h"
#include "log/ZeLog.h"
#include "singleapp/QtLocalPeer.h"
#include "util/PublicClass.h"

#include <QTextStream>

namespace {

int s_broken = 0;

void expect(const char *promise, bool isKept)
{
    s_broken += isKept ? 0 : 1;
    QTextStream(stdout) << (isKept ? "kept    " : "BROKEN  ") << promise << '\n';
}

} // namespace

/// A few of the oddities that programs rely on, as they would notice them.
int main()
{
    ZeLog::setWriteLogToFile(false);
    qInstallMessageHandler(ZeLog::outputMessage); // quiet: what follows logs a lot
    auto service = PublicClass::init();
    auto files = ZeFileManager::init();
    QString out;

    expect("a silent command gives \"Unknown error\"",
           service->processCmd("true", out, 5000, true) && out == "Unknown error");
    expect("getLastDirName() is the whole path", service->getLastDirName("a/b") == "a\\b");
    expect("1.2 and 1.2.0 are each lower than the other",
           PublicClass::isLowVersion("1.2", "1.2.0") && PublicClass::isLowVersion("1.2.0", "1.2"));
    expect("a set top bit counts negative", service->getCountOneBits(0xFFFFFFFF) == -1);
    expect("any character beyond U+0080 is \"Chinese\"", service->isChinese(QString(QChar(0xE9))));
    expect("sizes of nothing end in a blank", service->sizeToString(0) == "0.00 ");
    expect("getSplitFileSubfix() removes every like extension",
           service->getSplitFileSubfix("x.gz.gz") == "x");
    expect("the digest of a text is text, that of bytes is bytes",
           files->Md5Encryption(QString("x")).size() == 32
               && files->Md5Encryption(QByteArray("x")).size() == 16);
    expect("an empty document is no document", !files->jsonToVariant("{}").isValid());
    expect("an empty path is no directory", !files->removeLastDateTimeFiles(QString(), {}, 0));
    expect("the spelling of E_GS_ScanFinisedOpenLMap is its name",
           SendGlobalMsg::E_GS_ScanFinisedOpenLMap == 8);
    expect("socket names begin as ever",
           QtLocalPeer::appSessionId("x").startsWith("qtsingleapplication-"));
    return s_broken;
}
