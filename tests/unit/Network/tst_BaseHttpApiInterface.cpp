// SPDX-License-Identifier: MIT
#include "ApiProbe.h"
#include "VirtualPlaces.h"

#include <QMetaEnum>
#include <QMetaMethod>
#include <QSignalSpy>
#include <QtTest>

namespace {

using Contract = ShownApi<BaseHttpApiInterface>;

} // namespace

class tst_BaseHttpApiInterface : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void hasItsDefaults();
    void placeholdersDoNothing();
    void settersStore();
    void setTimeoutSetsTheTimer();
    void parsedDataIsPassedOn();
    void typesHaveTheirNumbers();
    void signalsHaveTheirSignatures();
#ifndef Q_CC_MSVC
    void virtualFunctionsKeepTheirOrder();
#endif
};

void tst_BaseHttpApiInterface::hasItsDefaults()
{
    QObject parent;
    const Contract api(&parent);
    QCOMPARE(api.parent(), &parent);
    QCOMPARE(int(api.m_type), 0);
    QCOMPARE(api.m_baseUrl, QString());
    QCOMPARE(api.m_path, QString());
    QVERIFY(api.m_timer.isSingleShot());
    QVERIFY(!api.m_timer.isActive());
    QCOMPARE(api.m_timer.interval(), 30000);
    QVERIFY(!api.m_reply);
    QVERIFY(!api.m_networkManager);
    QVERIFY(api.m_headers.isEmpty());
    QVERIFY(api.m_params.isEmpty());
    QVERIFY(api.m_cookies.isEmpty());
    QCOMPARE(api.m_paramsString, QString());
    QCOMPARE(api.m_contentType, QString());
    QCOMPARE(api.m_eTag, QString());
    QCOMPARE(api.m_retryLeft, -1);
    QCOMPARE(api.m_retryTimes, -1);
    QCOMPARE(api.m_timeout, 30000);
    QCOMPARE(api.m_retryBackoff, false);
    static_assert(sizeof(BaseHttpApiInterface::TYPE) == 4);
    static_assert(sizeof api.m_retryLeft == 4 && sizeof api.m_retryTimes == 4 && sizeof api.m_timeout == 4);
}

void tst_BaseHttpApiInterface::placeholdersDoNothing()
{
    Contract api;
    LogCapture log;
    const ApiEvents events(&api);
    api.SetBaseUrl(QStringLiteral("http://host"));
    api.SetRequestType(BaseHttpApiInterface::PostForm);
    QCOMPARE(int(api.m_type), 0);
    api.SetRetryTimes(3, true);
    QCOMPARE(api.m_retryTimes, -1);
    QCOMPARE(api.m_retryLeft, -1);
    QCOMPARE(api.m_retryBackoff, false);
    api.Send();
    api.WaitSend();
    api.DoRetry();
    api.ResetRetryTimes();
    api.Stop();
    QCOMPARE(api.m_retryLeft, -1);
    QVERIFY(!api.m_reply);
    QVERIFY(!api.m_timer.isActive());
    QVERIFY(api.IsRunning());
    QVERIFY(api.CanRetry());
    QCOMPARE(api.GetFullUrl(), QString());
    QCOMPARE(api.GetUrlHost(), QString());
    QCOMPARE(api.GetHeaderContentType(), QString());
    QCOMPARE(api.GetHeaderETag(), QString());
    QVERIFY(events.log.isEmpty());
    QVERIFY(log.records().empty());
}

void tst_BaseHttpApiInterface::settersStore()
{
    Contract api;
    HttpNetworkManager manager;
    const QMap<QString, QString> headers{{QStringLiteral("a"), QStringLiteral("b")}};
    const QMap<QString, QVariant> params{{QStringLiteral("n"), 1}};
    const QMap<QByteArray, QByteArray> cookies{{"c", "d"}};
    api.SetNetworkManager(&manager);
    api.SetBaseUrl(QStringLiteral("http://host"));
    api.SetRequestPath(QStringLiteral("/path"));
    api.SetRequestHeaders(headers);
    api.SetRequestParams(params);
    api.SetCookies(cookies);
    api.SetParamsString(QStringLiteral("{}"));
    QCOMPARE(api.m_networkManager, &manager);
    QCOMPARE(api.m_baseUrl, QStringLiteral("http://host"));
    QCOMPARE(api.m_path, QStringLiteral("/path"));
    QCOMPARE(api.m_headers, headers);
    QCOMPARE(api.m_params, params);
    QCOMPARE(api.m_cookies, cookies);
    QCOMPARE(api.m_paramsString, QStringLiteral("{}"));
}

void tst_BaseHttpApiInterface::setTimeoutSetsTheTimer()
{
    Contract api;
    api.SetTimeout(1234);
    QCOMPARE(api.m_timeout, 1234);
    QCOMPARE(api.m_timer.interval(), 1234);
    QVERIFY(!api.m_timer.isActive());
}

void tst_BaseHttpApiInterface::parsedDataIsPassedOn()
{
    Contract api;
    const ApiEvents events(&api);
    api.parseReceiveData("some data");
    QCOMPARE(events.log, texts({"succeed 9"}));
    QCOMPARE(events.body, QByteArray("some data"));
}

void tst_BaseHttpApiInterface::typesHaveTheirNumbers()
{
    const QMetaEnum types = QMetaEnum::fromType<BaseHttpApiInterface::TYPE>();
    QStringList keys;
    for (int i = 0; i < types.keyCount(); ++i)
        keys << QStringLiteral("%1 %2").arg(types.value(i)).arg(QString::fromLatin1(types.key(i)));
    QCOMPARE(keys, texts({"0 Get", "1 Post", "2 Head", "3 PostForm"}));
}

void tst_BaseHttpApiInterface::signalsHaveTheirSignatures()
{
    const QMetaObject& meta = BaseHttpApiInterface::staticMetaObject;
    QStringList found;
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i) {
        const QMetaMethod method = meta.method(i);
        QCOMPARE(method.methodType(), QMetaMethod::Signal);
        found << QString::fromLatin1(method.methodSignature() + ' ' + method.parameterNames().join(','));
    }
    QCOMPARE(found,
             texts({"apiSucceed(QByteArray) data",
                    "apiFailed(int,int,int,QString) errorCode,statusCode,qtErrorCode,message", "apiFinished() "}));

    const QMetaObject& implementation = BaseHttpApi::staticMetaObject;
    QCOMPARE(implementation.superClass(), &meta);
    QStringList slotNames;
    for (int i = implementation.methodOffset(); i < implementation.methodCount(); ++i) {
        QCOMPARE(implementation.method(i).methodType(), QMetaMethod::Slot);
        QCOMPARE(implementation.method(i).access(), QMetaMethod::Public);
        slotNames << QString::fromLatin1(implementation.method(i).methodSignature());
    }
    QCOMPARE(slotNames, texts({"OnTimeout()", "OnReplyFinished()"}));
}

#ifndef Q_CC_MSVC
// Programs that were built before must find each function where it was.
void tst_BaseHttpApiInterface::virtualFunctionsKeepTheirOrder()
{
    using Api = BaseHttpApiInterface;
    const QVector<int> found{VirtualPlace(&Api::SetNetworkManager),
                             VirtualPlace(&Api::Send),
                             VirtualPlace(&Api::Stop),
                             VirtualPlace(&Api::GetUrlHost),
                             VirtualPlace(&Api::GetFullUrl),
                             VirtualPlace(&Api::IsRunning),
                             VirtualPlace(&Api::WaitSend),
                             VirtualPlace(&Api::GetHeaderContentType),
                             VirtualPlace(&Api::GetHeaderETag),
                             VirtualPlace(&Api::SetRequestType),
                             VirtualPlace(&Api::SetBaseUrl),
                             VirtualPlace(&Api::SetRequestPath),
                             VirtualPlace(&Api::SetRequestHeaders),
                             VirtualPlace(&Api::SetRequestParams),
                             VirtualPlace(&Api::SetParamsString),
                             VirtualPlace(&Api::SetCookies),
                             VirtualPlace(&Api::SetRetryTimes),
                             VirtualPlace(&Api::SetTimeout),
                             VirtualPlace(&Api::CanRetry),
                             VirtualPlace(&Api::DoRetry),
                             VirtualPlace(&Contract::parseReceiveData),
                             VirtualPlace(&Contract::ResetRetryTimes),
                             VirtualPlace(&TestApi::GetRequest),
                             VirtualPlace(&TestApi::PostRequest),
                             VirtualPlace(&TestApi::HeadRequest),
                             VirtualPlace(&TestApi::PostFormRequest)};
    QCOMPARE(found, PlacesAfterQObject(found.size()));
}
#endif

QTEST_GUILESS_MAIN(tst_BaseHttpApiInterface)
#include "tst_BaseHttpApiInterface.moc"
