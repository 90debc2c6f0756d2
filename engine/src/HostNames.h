// SPDX-License-Identifier: MIT
#pragma once

#include <QHash>
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

private:
    QHash<QString, QString> m_addresses;
};

} // namespace VantorEngine
