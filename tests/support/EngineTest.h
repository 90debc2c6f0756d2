// SPDX-License-Identifier: MIT
#pragma once

#include "EngineClient.h"
#include "ScriptedHttpServer.h"

#include <QTemporaryDir>
#include <QtTest>

#include <memory>

namespace EngineTesting {

using Event = EngineClient::Event;
using Kind = EngineClient::Event::Kind;
using Fault = HttpResponse::Fault;

/// The start-up configuration of every test: short waits, three retries, a callback each 10 ms.
extern const char* const kTestConfig;

EngineClient& engine();

QByteArray md5Of(const QByteArray& content);
/// Bytes in which no part looks like another.
QByteArray sampleContent(int size, quint32 seed = 1);
/// A list of words separated by blanks.
QStringList words(const char* list);

/// Members of a callback's object.
QString text(const QJsonObject& object, const char* key);
qint64 number(const QJsonObject& object, const char* key);
QJsonObject member(const QJsonObject& object, const char* key);
/// Bytes of a file object that are on disk.
qint64 bytesDone(const QJsonObject& file);

} // namespace EngineTesting

/// What the tests of the engine module share: the loaded module, and for each test a folder and a scripted server.
/// VANTOR_MODULE must be defined as the module's path.
class EngineTest : public QObject
{
    Q_OBJECT
private slots:
    /// Loads the module and makes calls that must be harmless before the engine is started.
    void initTestCase();
    void init();
    void cleanup();

protected:
    QString at(const QString& name) const { return m_folder->filePath(name); }
    QString url(const QByteArray& path) const { return m_server->urlText(path); }
    /// An item of a download list, named after its path and written to the folder; without a size when it is 0.
    QJsonObject item(const QByteArray& path, qint64 size, const QByteArray& md5) const;
    QJsonObject itemFor(const QByteArray& path, const QByteArray& content) const;
    void makeFile(const QString& name, const QByteArray& content) const;
    /// What an earlier run leaves when it is ended: the beginning of a file, and the state file beside it.
    /// \param size of the whole file, as the server told it.
    void makePartial(const QByteArray& path, const QByteArray& content, qint64 size,
                     const QByteArray& validator = {}) const;
    QByteArray contentOf(const QString& name) const;
    /// The Range headers that came, in order. Requests are not counted where a connection ends in the middle of a body:
    /// Qt may send such a request once more by itself, for nobody.
    QList<QByteArray> rangesAsked(const QByteArray& path) const;
    static bool ended(const QString& guid);
    /// The command line of engine_host for one list.
    QStringList hostArguments(const QByteArray& list, const QStringList& options) const;

    std::unique_ptr<QTemporaryDir> m_folder;
    std::unique_ptr<ScriptedHttpServer> m_server;
};

/// Waits for the end of a group and compares it.
#define TRY_END(guid, status)                                                                                          \
    do {                                                                                                               \
        const QString endedGuid = (guid);                                                                              \
        QTRY_VERIFY_WITH_TIMEOUT(EngineTest::ended(endedGuid), 30000);                                                 \
        QCOMPARE(EngineTesting::engine().endStatus(endedGuid), QStringLiteral(status));                                \
    } while (false)
