// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "util/PublicClass.h"

#include "core/LogTag_p.h"
#include "core/ServiceHolder_p.h"
#include "core/Sync_p.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QEventLoop>
#include <QtCore/QFile>
#include <QtCore/QThread>
#include <QtCore/QTimer>

#include <algorithm>
#include <array>

using ZeCore::MutexLock;

QSharedPointer<PublicClass> PublicClass::instance;
QMutex PublicClass::_mutex;

namespace {

constexpr int hostNameTimeoutMs = 20000;

struct ModelName
{
    PublicClass::ZcType code = PublicClass::ZcUndetermined;
    QLatin1String name;
};

const std::array<ModelName, 8> modelNames{{
    {PublicClass::Zc760_1, QLatin1String("ZC760.1")},
    {PublicClass::Zc760_2, QLatin1String("ZC760.2")},
    {PublicClass::Zc760_3, QLatin1String("ZC760.3")},
    {PublicClass::Zc760_4, QLatin1String("ZC760.4")},
    {PublicClass::Zc520, QLatin1String("ZC520")},
    {PublicClass::Zc930, QLatin1String("ZC930")},
    {PublicClass::Zc580, QLatin1String("ZC580")},
    {PublicClass::Zc410, QLatin1String("ZC410")},
}};

PublicClass::ZcType codeOfModel(const QString &name)
{
    const auto model = std::find_if(modelNames.begin(), modelNames.end(),
                                    [&name](const ModelName &m) { return m.name == name; });
    return model != modelNames.end() ? model->code : PublicClass::Zc760_1;
}

QString nameOfModel(int code)
{
    const auto model = std::find_if(modelNames.begin(), modelNames.end(),
                                    [code](const ModelName &m) { return m.code == code; });
    return model != modelNames.end() ? QString(model->name) : QString();
}

/// Reads the model name that the controller's image carries; false if it has none.
bool readModelFile(QString &name)
{
    QFile file(QStringLiteral("/etc/zcname"));
    if (!file.open(QIODevice::ReadOnly))
        return false;
    const QByteArray line = file.readLine();
    name = QString::fromUtf8(line.constData()).simplified(); // up to the first NUL
    return true;
}

/// Serves the pending events of the calling thread. The loop object is for threads
/// that Qt did not start: QCoreApplication::processEvents() alone ignores them.
void serveEvents()
{
    if (QCoreApplication::instance())
        QEventLoop().processEvents();
}

} // namespace

PublicClass::PublicClass()
    : linuxConfigPath(QStringLiteral("appInfo/setting/linux_config.ini"))
    , logDirKey(QStringLiteral("ZmxLogDir"))
    , distDir(QStringLiteral("./dist/"))
    , upgradeTempDir(QStringLiteral("./dist/upgradeTemp/"))
{
    ZeCore::logDebug("PublicClass") << "[new PublicClass()]";
}

PublicClass::~PublicClass()
{
    ZeCore::logDebug("~PublicClass");
}

QSharedPointer<PublicClass> &PublicClass::init()
{
    return ZeCore::ServiceHolder<PublicClass>::init(instance, _mutex);
}

void PublicClass::releaseThis() { }

void PublicClass::initMember()
{
    appInfoDir = QStringLiteral("%1/appInfo").arg(appDir);
    logDir = QStringLiteral("%1/appInfo/log").arg(appDir);

    zcType = ZcUndetermined;
    if (readModelFile(zcName)) {
        zcType = codeOfModel(zcName);
    } else {
        QString output;
        if (!processCmd(QStringLiteral("hostname"), output, hostNameTimeoutMs, true))
            setLastError(output);
        zcType = output.contains(QLatin1String("colibri")) ? Zc520 : Zc930;
    }
    if (zcName.isEmpty())
        zcName = nameOfModel(zcType);

    ZeCore::logDebug("initMember") << "_zcType:" << zcType << "ZC-Name:" << zcName;
}

QString PublicClass::getLastError()
{
    return lastError;
}

void PublicClass::setLastError(const QString &s)
{
    lastError = QLatin1String("Error:PublicClass::") + s;
}

QString PublicClass::getDebugStr()
{
    return debugStr;
}

void PublicClass::setDebugStr(const QString &s)
{
    debugStr = s;
}

void PublicClass::addByteArrayList(QByteArray &a)
{
    const MutexLock lock(_mutex);
    byteArrayList.append(a);
}

void PublicClass::setByteArrayList(const QList<QByteArray> &l)
{
    byteArrayList = l;
}

void PublicClass::removeByteArrayList(int i)
{
    const MutexLock lock(_mutex);
    if (i >= 0 && i < byteArrayList.size())
        byteArrayList.removeAt(i);
}

QByteArray PublicClass::getByteArrayIndex(int i)
{
    const MutexLock lock(_mutex);
    return byteArrayList.value(i);
}

int PublicClass::getByteArrayListSize()
{
    const MutexLock lock(_mutex);
    return byteArrayList.size();
}

void PublicClass::waitSTime(int s)
{
    constexpr int slicesPerSecond = 10;
    constexpr int sliceMs = 100;
    for (qint64 slice = 0; slice < qint64(s) * slicesPerSecond; ++slice)
        waitMSTime(sliceMs);
}

void PublicClass::waitMSTime(int ms)
{
    if (ms > 0)
        QThread::msleep(static_cast<unsigned long>(ms));
    serveEvents();
}

void PublicClass::deleteTimer(QTimer **t)
{
    if (!t || !*t)
        return;
    if ((*t)->isActive())
        (*t)->stop();
    delete *t;
    *t = nullptr;
}
