// SPDX-License-Identifier: MIT
#include "ApiProbe.h"
#include "ScriptedHttpServer.h"

#include <QBuffer>
#include <QHttpMultiPart>
#include <QNetworkRequest>
#include <QPointer>
#include <QSignalSpy>
#include <QtTest>

#include <memory>

class tst_HttpNetworkManager : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void makesTheNetworkAccessOnFirstUse();
    void hasNoSignalsOrSlotsOfItsOwn();
    void forwardsTheFiveRequests();
    void goesBackOnlineBeforeEachRequest();
    void leavesAnOnlineNetworkAccessAlone();
    void isReleasedByTheEventLoop();
    void releasesTheExtraObjectFirst();
    void mayBeDeletedInsideASignalOfItsReply();

private:
    QNetworkRequest request(const QByteArray& path, const QByteArray& own = "x") const
    {
        QNetworkRequest request(m_server->url(path));
        request.setHeader(QNetworkRequest::ContentTypeHeader, QStringLiteral("text/plain"));
        request.setRawHeader("X-Own", own);
        return request;
    }
    // Waits for the end of a reply and releases it as callers do.
    static QByteArray bodyOf(QNetworkReply* reply)
    {
        QSignalSpy finished(reply, &QNetworkReply::finished);
        if (!reply->isFinished() && !finished.wait(30000))
            return "<no answer>";
        const QByteArray body = reply->readAll();
        reply->deleteLater();
        return body;
    }

    std::unique_ptr<ScriptedHttpServer> m_server;
};

void tst_HttpNetworkManager::init()
{
    m_server = std::make_unique<ScriptedHttpServer>();
    QVERIFY(m_server->port() != 0);
    m_server->always("/x", HttpResponse::ok("answer"));
}

void tst_HttpNetworkManager::makesTheNetworkAccessOnFirstUse()
{
    TestNetworkManager manager;
    QVERIFY(!manager.m_accessManager);
    QVERIFY(!manager.m_extra);
    QCOMPARE(bodyOf(manager.Get(request("/x"))), QByteArray("answer"));
    QNetworkAccessManager* const first = manager.m_accessManager;
    QVERIFY(first);
    QCOMPARE(first->parent(), &manager);
    QCOMPARE(bodyOf(manager.Get(request("/x"))), QByteArray("answer"));
    QCOMPARE(manager.m_accessManager, first);
    QCOMPARE(manager.GetAccessManager(), first);
    QVERIFY(!manager.m_extra);
    QObject parent;
    QCOMPARE((new HttpNetworkManager(&parent))->parent(), &parent);
}

void tst_HttpNetworkManager::hasNoSignalsOrSlotsOfItsOwn()
{
    const QMetaObject& meta = HttpNetworkManager::staticMetaObject;
    QCOMPARE(meta.className(), "HttpNetworkManager");
    QCOMPARE(meta.superClass(), &QObject::staticMetaObject);
    QCOMPARE(meta.methodCount(), meta.methodOffset());
}

void tst_HttpNetworkManager::forwardsTheFiveRequests()
{
    TestNetworkManager manager;
    QHttpMultiPart parts(QHttpMultiPart::FormDataType);
    QHttpPart part;
    part.setHeader(QNetworkRequest::ContentDispositionHeader, QStringLiteral("form-data; name=\"n\""));
    part.setBody("part body");
    parts.append(part);
    QBuffer device;
    device.setData("from a device");
    QVERIFY(device.open(QIODevice::ReadOnly));
    QNetworkRequest formRequest(m_server->url("/x"));
    formRequest.setRawHeader("X-Own", "3");

    QCOMPARE(bodyOf(manager.Get(request("/x", "0"))), QByteArray("answer"));
    QCOMPARE(bodyOf(manager.Head(request("/x", "1"))), QByteArray());
    QCOMPARE(bodyOf(manager.Post(request("/x", "2"), QByteArray("bytes"))), QByteArray("answer"));
    QCOMPARE(bodyOf(manager.Post(formRequest, &parts)), QByteArray("answer"));
    QCOMPARE(bodyOf(manager.Post(request("/x", "4"), &device)), QByteArray("answer"));

    QVector<HttpRequest> requests;
    const QVector<HttpRequest> received = m_server->requests();
    for (const HttpRequest& request : received) {
        // One that was sent again, see kConnectionsAreSteady.
        if (requests.isEmpty() || request.header("X-Own") != requests.constLast().header("X-Own"))
            requests << request;
    }
    QCOMPARE(requests.size(), 5);
    const QVector<QByteArray> methods{"GET", "HEAD", "POST", "POST", "POST"};
    for (int i = 0; i < requests.size(); ++i) {
        QCOMPARE(requests.at(i).method, methods.at(i));
        QCOMPARE(requests.at(i).header("X-Own"), QByteArray::number(i));
        // All share one connection.
        QVERIFY(requests.at(i).connection == 1 || !kConnectionsAreSteady);
    }
    QCOMPARE(requests.at(2).body, QByteArray("bytes"));
    QVERIFY(requests.at(3).header("Content-Type").startsWith("multipart/form-data"));
    QVERIFY(requests.at(3).body.contains("part body"));
    QCOMPARE(requests.at(4).body, QByteArray("from a device"));
    QCOMPARE(requests.at(4).header("Content-Type"), QByteArray("text/plain"));
}

QT_WARNING_PUSH
QT_WARNING_DISABLE_DEPRECATED

void tst_HttpNetworkManager::goesBackOnlineBeforeEachRequest()
{
    TestNetworkManager manager;
    QCOMPARE(bodyOf(manager.Get(request("/x"))), QByteArray("answer"));
    for (int round = 2; round <= 4; ++round) {
        manager.m_accessManager->setNetworkAccessible(QNetworkAccessManager::NotAccessible);
        QCOMPARE(manager.m_accessManager->networkAccessible(), QNetworkAccessManager::NotAccessible);
        QNetworkReply* reply = nullptr;
        if (round == 2)
            reply = manager.Get(request("/x"));
        else if (round == 3)
            reply = manager.Head(request("/x"));
        else
            reply = manager.Post(request("/x"), QByteArray("bytes"));
        QCOMPARE(manager.m_accessManager->networkAccessible(), QNetworkAccessManager::Accessible);
        bodyOf(reply);
        // The cached connection went with the cache.
        const int connection = m_server->requests().last().connection;
        QVERIFY2(kConnectionsAreSteady ? connection == round : connection >= round,
                 qPrintable(QString::number(connection)));
    }
}

void tst_HttpNetworkManager::leavesAnOnlineNetworkAccessAlone()
{
    TestNetworkManager manager;
    QSignalSpy changes(manager.GetAccessManager(), &QNetworkAccessManager::networkAccessibleChanged);
    bodyOf(manager.Get(request("/x")));
    bodyOf(manager.Get(request("/x")));
    QCOMPARE(changes.count(), 0);
    QVERIFY(m_server->requests().last().connection == 1 || !kConnectionsAreSteady);
}

QT_WARNING_POP

void tst_HttpNetworkManager::isReleasedByTheEventLoop()
{
    auto manager = std::make_unique<TestNetworkManager>();
    const QPointer<QNetworkAccessManager> network = manager->GetAccessManager();
    manager.reset();
    QVERIFY(network);
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QVERIFY(!network);
}

void tst_HttpNetworkManager::releasesTheExtraObjectFirst()
{
    auto manager = std::make_unique<TestNetworkManager>();
    manager->m_extra = new QObject(manager.get());
    QStringList order;
    connect(manager->m_extra, &QObject::destroyed, this, [&order] { order << QStringLiteral("extra"); });
    connect(manager->GetAccessManager(), &QObject::destroyed, this, [&order] { order << QStringLiteral("network"); });
    manager.reset();
    QVERIFY(order.isEmpty());
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QCOMPARE(order, texts({"extra", "network"}));
}

void tst_HttpNetworkManager::mayBeDeletedInsideASignalOfItsReply()
{
    auto manager = std::make_unique<TestNetworkManager>();
    const QPointer<QNetworkReply> reply = manager->Get(request("/x"));
    QByteArray body;
    connect(reply, &QNetworkReply::finished, this, [&] {
        manager.reset();
        body = reply->readAll();
    });
    QTRY_VERIFY(!reply);
    QCOMPARE(body, QByteArray("answer"));
}

QTEST_GUILESS_MAIN(tst_HttpNetworkManager)
#include "tst_HttpNetworkManager.moc"
