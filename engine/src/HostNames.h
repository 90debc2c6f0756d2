// SPDX-License-Identifier: MIT
#pragma once

#include <QHash>
#include <QHostInfo>
#include <QObject>
#include <QString>

namespace VantorEngine {

/// The addresses of download hosts, for the reports. Qt does not tell which peer a reply came from, so this is the
/// first address the host's name resolves to; looked up once per host.
class HostNames : public QObject
{
    Q_OBJECT
public:
    /// \return the address as text; empty while it is being looked up, or when there is none.
    QString addressOf(const QString& host);

private slots:
    void onLookedUp(const QHostInfo& info);

private:
    QHash<QString, QString> m_addresses;
    QHash<int, QString> m_hosts; ///< whose look-up is under way, by its number
};

} // namespace VantorEngine
