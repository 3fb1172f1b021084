// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "core/BaseThread.h"

#include "core/LogTag_p.h"
#include "core/Sync_p.h"

static_assert(sizeof(std::atomic<bool>) == sizeof(bool),
              "the stop request must not change the layout that derived classes were built with");

BaseThread::BaseThread(QObject *parent)
    : QThread(parent)
{
    ZeCore::Checker::allAccessIsAtomic(m_needStop);
}

bool BaseThread::isNeedStop() const
{
    return m_needStop.load(std::memory_order_acquire);
}

void BaseThread::setNeedStop(bool needStop)
{
    m_needStop.store(needStop, std::memory_order_release);
}

int BaseThread::threadType() const
{
    return m_threadType;
}

void BaseThread::setThreadType(int threadType)
{
    m_threadType = threadType;
}

int BaseThread::result() const
{
    return m_result;
}

void BaseThread::setResult(int result)
{
    m_result = result;
}

const QString &BaseThread::lastError() const
{
    return m_lastError;
}

void BaseThread::setLastError(const QString &error)
{
    const QString given = error; // the caller may pass lastError() itself
    m_lastError = given;
    ZeCore::logWarning("setLastError") << "[error:" << given << "]";
}

void BaseThread::stopThread()
{
    setNeedStop(true);
    quit();
    wait();
    ZeCore::threadJoined(this);
}
