// SPDX-License-Identifier: MIT
#include "Network/HttpNetworkManager.h"

#include <QNetworkReply>
#include <QNetworkRequest>

namespace {

// Left to the event loop: the destructor may run inside a signal of one of the object's replies. A child would be
// deleted at once, by its parent, so it must not be one any more.
template<typename Object>
void releaseLater(Object** object)
{
    if (!*object)
        return;
    (*object)->setParent(nullptr);
    (*object)->deleteLater();
    *object = nullptr;
}

} // namespace

HttpNetworkManager::HttpNetworkManager(QObject* parent) : QObject(parent)
{
}

HttpNetworkManager::~HttpNetworkManager()
{
    releaseLater(&m_extra);
    releaseLater(&m_accessManager);
}

QNetworkReply* HttpNetworkManager::Get(const QNetworkRequest& request)
{
    return GetAccessManager()->get(request);
}

QNetworkReply* HttpNetworkManager::Head(const QNetworkRequest& request)
{
    return GetAccessManager()->head(request);
}

QNetworkReply* HttpNetworkManager::Post(const QNetworkRequest& request, const QByteArray& data)
{
    return GetAccessManager()->post(request, data);
}

QNetworkReply* HttpNetworkManager::Post(const QNetworkRequest& request, QHttpMultiPart* multiPart)
{
    return GetAccessManager()->post(request, multiPart);
}

QNetworkReply* HttpNetworkManager::Post(const QNetworkRequest& request, QIODevice* data)
{
    return GetAccessManager()->post(request, data);
}

QNetworkAccessManager* HttpNetworkManager::GetAccessManager()
{
    if (!m_accessManager)
        m_accessManager = new QNetworkAccessManager(this);
    // A network access that once found the machine offline refuses all requests until it is told otherwise.
    QT_WARNING_PUSH
    QT_WARNING_DISABLE_DEPRECATED
    if (m_accessManager->networkAccessible() == QNetworkAccessManager::NotAccessible) {
        m_accessManager->clearAccessCache();
        m_accessManager->setNetworkAccessible(QNetworkAccessManager::Accessible);
    }
    QT_WARNING_POP
    return m_accessManager;
}
