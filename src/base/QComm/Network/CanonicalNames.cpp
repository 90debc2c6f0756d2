// SPDX-License-Identifier: MIT
#include "Network/CanonicalNames.h"

#include <QCoreApplication>
#include <QDnsLookup>
#include <QHash>
#include <QMutex>

namespace {

// Intended: the type of service records, not of canonical names. Name servers that know a canonical name send it along
// with any answer, and the operators' name servers expect this question.
constexpr int kLookupType = 33;

struct Registry
{
    QMutex mutex;
    QHash<QString, CanonicalNameQuery*> byHost;
    const QCoreApplication* guarded = nullptr; // the application at whose end the queries are given up
};

Registry& registry()
{
    static Registry instance;
    return instance;
}

// The application waits for the threads of look-ups when it ends, and they for the receivers of their answers.
void giveUp()
{
    QHash<QString, CanonicalNameQuery*> queries;
    {
        const QMutexLocker locker(&registry().mutex);
        queries.swap(registry().byHost);
        registry().guarded = nullptr;
    }
    qDeleteAll(queries);
}

// The registry's mutex is held.
CanonicalNameQuery* newQuery(const QString& host)
{
    auto* query = new CanonicalNameQuery(host);
    if (QCoreApplication* const application = QCoreApplication::instance()) {
        query->moveToThread(application->thread());
        if (registry().guarded != application) {
            registry().guarded = application;
            qAddPostRoutine(giveUp);
        }
    }
    registry().byHost.insert(host, query);
    return query;
}

} // namespace

void CanonicalNames::Ask(const QString& host, QObject* owner, const std::function<void(QDnsLookup*)>& begin,
                         const std::function<void(const QStringList&)>& tell)
{
    QDnsLookup* prepared = nullptr;
    {
        const QMutexLocker locker(&registry().mutex);
        CanonicalNameQuery* query = registry().byHost.value(host);
        if (!query) {
            query = newQuery(host);
            prepared = query->Lookup();
        }
        QObject::connect(query, &CanonicalNameQuery::answered, owner, tell);
    }
    if (prepared)
        begin(prepared);
}

CanonicalNameQuery::CanonicalNameQuery(const QString& host)
    : m_host(host), m_lookup(new QDnsLookup(static_cast<QDnsLookup::Type>(kLookupType), host, this))
{
    connect(m_lookup, &QDnsLookup::finished, this, &CanonicalNameQuery::onFinished);
}

CanonicalNameQuery::~CanonicalNameQuery() = default;

void CanonicalNameQuery::onFinished()
{
    {
        const QMutexLocker locker(&registry().mutex);
        if (registry().byHost.value(m_host) != this)
            return;
        registry().byHost.remove(m_host);
    }
    QStringList names;
    const QList<QDnsDomainNameRecord> records = m_lookup->canonicalNameRecords();
    // The records' own names: the host that was asked for, and what it is led on to.
    for (const QDnsDomainNameRecord& record : records)
        names << record.name();
    Q_EMIT answered(names);
    deleteLater();
}
