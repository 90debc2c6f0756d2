// SPDX-License-Identifier: MIT
#pragma once

#include "QCommGlobal.h"

#include <QNetworkAccessManager>
#include <QObject>

class QHttpMultiPart;
class QIODevice;
class QNetworkReply;
class QNetworkRequest;

/// \brief The network access that many web API calls share: its connections, its caches and its settings.
///
/// The launcher creates one, hands it to any number of BaseHttpApi objects (SetNetworkManager()) and deletes it
/// after them. It has no signals and no state but the network access itself, which is made by the first request
/// and kept:
///
/// \code
///   no network access ──first request──> network access, a child of this object ──destructor──> deleteLater()
/// \endcode
///
/// Before every request a network access that takes the machine for offline is put back online, with its cached
/// connections and credentials dropped.
///
/// A reply belongs to the caller, who ends it with `deleteLater()`; until then it is a child of the network
/// access. The destructor leaves the network access to the event loop, so this object may be deleted while a
/// reply's signal is being handled; replies that still run are destroyed with the network access, without
/// `finished`.
///
/// Everything happens on the thread that owns the object. There are no locks.
class QCOMM_EXPORT HttpNetworkManager : public QObject
{
    Q_OBJECT

public:
    explicit HttpNetworkManager(QObject* parent = nullptr);
    ~HttpNetworkManager() override;

    /// \brief Sends a GET request. The arguments of all five go to QNetworkAccessManager unchanged.
    QNetworkReply* Get(const QNetworkRequest& request);
    /// \brief Sends a HEAD request: the answer has headers only.
    QNetworkReply* Head(const QNetworkRequest& request);
    /// \brief Sends a POST request with these bytes as its body.
    QNetworkReply* Post(const QNetworkRequest& request, const QByteArray& data);
    /// \brief Sends a POST request of several parts. `multiPart` must live until the reply has finished; the
    /// caller deletes it.
    QNetworkReply* Post(const QNetworkRequest& request, QHttpMultiPart* multiPart);
    /// \brief Sends a POST request with what an open, readable device holds. It must live until the reply has
    /// finished; the caller deletes it.
    QNetworkReply* Post(const QNetworkRequest& request, QIODevice* data);

protected:
    /// \brief The network access, made on first use and online. Never null.
    QNetworkAccessManager* GetAccessManager();

    QNetworkAccessManager* m_accessManager = nullptr; ///< null until the first request
    QObject* m_extra = nullptr; ///< for subclasses: an object released together with the network access
};
