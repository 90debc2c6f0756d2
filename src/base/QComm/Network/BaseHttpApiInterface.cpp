// SPDX-License-Identifier: MIT
#include "Network/BaseHttpApiInterface.h"

#include "Network/HttpNetworkManager.h"

// The timer is a child, so that it follows the object to another thread.
BaseHttpApiInterface::BaseHttpApiInterface(QObject* parent) : QObject(parent), m_timer(this)
{
    m_timer.setSingleShot(true);
    m_timer.setInterval(m_timeout);
}

BaseHttpApiInterface::~BaseHttpApiInterface() = default;

void BaseHttpApiInterface::SetNetworkManager(HttpNetworkManager* networkManager)
{
    m_networkManager = networkManager;
}

void BaseHttpApiInterface::Send()
{
}

void BaseHttpApiInterface::Stop()
{
}

QString BaseHttpApiInterface::GetUrlHost()
{
    return QString();
}

QString BaseHttpApiInterface::GetFullUrl()
{
    return QString();
}

bool BaseHttpApiInterface::IsRunning()
{
    return true;
}

void BaseHttpApiInterface::WaitSend()
{
}

QString BaseHttpApiInterface::GetHeaderContentType()
{
    return m_contentType;
}

QString BaseHttpApiInterface::GetHeaderETag()
{
    return m_eTag;
}

void BaseHttpApiInterface::SetRequestType(TYPE /*type*/)
{
}

void BaseHttpApiInterface::SetBaseUrl(const QString& baseUrl)
{
    m_baseUrl = baseUrl;
}

void BaseHttpApiInterface::SetRequestPath(const QString& path)
{
    m_path = path;
}

void BaseHttpApiInterface::SetRequestHeaders(QMap<QString, QString> headers)
{
    m_headers = headers;
}

void BaseHttpApiInterface::SetRequestParams(QMap<QString, QVariant> params)
{
    m_params = params;
}

void BaseHttpApiInterface::SetParamsString(const QString& params)
{
    m_paramsString = params;
}

void BaseHttpApiInterface::SetCookies(QMap<QByteArray, QByteArray> cookies)
{
    m_cookies = cookies;
}

void BaseHttpApiInterface::SetRetryTimes(int /*times*/, bool /*backoff*/)
{
}

void BaseHttpApiInterface::SetTimeout(int ms)
{
    m_timeout = ms;
    m_timer.setInterval(ms);
}

bool BaseHttpApiInterface::CanRetry()
{
    return true;
}

void BaseHttpApiInterface::DoRetry()
{
}

void BaseHttpApiInterface::parseReceiveData(const QByteArray& data)
{
    Q_EMIT apiSucceed(data);
}

void BaseHttpApiInterface::ResetRetryTimes()
{
}
