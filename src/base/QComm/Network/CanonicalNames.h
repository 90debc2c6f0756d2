// SPDX-License-Identifier: MIT
#pragma once

#include <QObject>
#include <QString>
#include <QStringList>

#include <functional>

class QDnsLookup;

/// \file
/// The look-ups of host names behind the requests of the range downloader. Internal: not installed.

namespace CanonicalNames {

/// \brief Asks the name servers for the canonical names of a host.
///
/// A look-up that has begun cannot be taken back: it holds one of few threads until the name servers have answered
/// or been given up, and the process does not end before that. So there is at most one per host in the process, and
/// those who ask in the meantime get its answer, too.
/// \param owner receives the answer, once, on its own thread; nothing is delivered when it is deleted before
/// \param begin starts a look-up that has been prepared; called before this returns, or not at all
/// \param tell  gets the names of the canonical-name records; empty when there are none or nobody answered
void Ask(const QString& host, QObject* owner, const std::function<void(QDnsLookup*)>& begin,
         const std::function<void(const QStringList&)>& tell);

} // namespace CanonicalNames

/// \brief One look-up in flight. Lives on the application's thread, longer than those who wait for it.
class CanonicalNameQuery : public QObject
{
    Q_OBJECT

public:
    explicit CanonicalNameQuery(const QString& host);
    ~CanonicalNameQuery() override;

    QDnsLookup* Lookup() const { return m_lookup; }

Q_SIGNALS:
    void answered(const QStringList& names);

private:
    void onFinished();

    const QString m_host;
    QDnsLookup* const m_lookup;
};
