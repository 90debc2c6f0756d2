// SPDX-License-Identifier: MIT
#include "EngineTest.h"

#include "StateFile.h"

#include <QCryptographicHash>

namespace EngineTesting {

const char* const kTestConfig = R"({"max_parallel_files":6,"retry_limit":3,"retry_delay_ms":5,"retry_delay_cap_ms":20,
    "response_timeout_ms":30000,"stall_timeout_ms":30000,"ca_file":"","proxy":"system",
    "download_policy":{"download_bandwidth":0,"progress_callback_interval":10}})";

EngineClient& engine()
{
    return EngineClient::instance();
}

QByteArray md5Of(const QByteArray& content)
{
    return QCryptographicHash::hash(content, QCryptographicHash::Md5).toHex();
}

QByteArray sampleContent(int size, quint32 seed)
{
    QByteArray content(size, Qt::Uninitialized);
    quint32 state = seed;
    for (char& byte : content) {
        state = state * 1664525 + 1013904223;
        byte = static_cast<char>(state >> 24);
    }
    return content;
}

QStringList words(const char* list)
{
    return QString::fromLatin1(list).split(QLatin1Char(' '));
}

QString text(const QJsonObject& object, const char* key)
{
    return object.value(QLatin1String(key)).toString();
}

qint64 number(const QJsonObject& object, const char* key)
{
    return static_cast<qint64>(object.value(QLatin1String(key)).toDouble());
}

QJsonObject member(const QJsonObject& object, const char* key)
{
    return object.value(QLatin1String(key)).toObject();
}

qint64 bytesDone(const QJsonObject& file)
{
    return number(file, "existing_byte_count") + number(file, "written_byte_count");
}

} // namespace EngineTesting

using namespace EngineTesting;

void EngineTest::initTestCase()
{
    QVERIFY2(engine().load(QStringLiteral(VANTOR_MODULE)), qPrintable(engine().errorString()));
    engine().clear();
    engine().cancel("nothing");
    engine().cancel(nullptr);
    engine().release(nullptr);
    engine().cancelChunkTask(nullptr);
    engine().setConfig(nullptr);
    engine().removeCallback();
    engine().install();
    const QString guid = engine().submitText({}); // starts the engine with its defaults
    QCOMPARE(guid.size(), 36);
    TRY_END(guid, "Failed");
    QCOMPARE(QString::fromUtf8(engine().setDownloadList(nullptr, nullptr)).size(), 36);
    QCOMPARE(QString::fromUtf8(engine().startChunkTask(nullptr, nullptr)).size(), 36);
    QVERIFY(engine().events(Kind::State, {}).isEmpty()); // not initialised yet
}

void EngineTest::init()
{
    m_folder = std::make_unique<QTemporaryDir>();
    QVERIFY(m_folder->isValid());
    m_server = std::make_unique<ScriptedHttpServer>();
    QVERIFY(m_server->port() != 0);
    engine().clear();
    engine().initEnv("", kTestConfig, 4, 0);
    engine().install();
}

void EngineTest::cleanup()
{
    engine().release(""); // nothing runs on into the next test
    engine().setHook(nullptr);
}

QJsonObject EngineTest::item(const QByteArray& path, qint64 size, const QByteArray& md5) const
{
    QJsonObject object{{QStringLiteral("url"), url(path)},
                       {QStringLiteral("name"), QString::fromUtf8(path.mid(path.lastIndexOf('/') + 1))},
                       {QStringLiteral("checksum"), QString::fromLatin1(md5)},
                       {QStringLiteral("relative_path"), m_folder->path() + QLatin1Char('/')}};
    if (size > 0) {
        object.insert(QStringLiteral("size"), QString::number(size));
    } else {
        object.insert(QStringLiteral("http_header_size"), QStringLiteral("Content-Length"));
    }
    return object;
}

QJsonObject EngineTest::itemFor(const QByteArray& path, const QByteArray& content) const
{
    return item(path, content.size(), md5Of(content));
}

void EngineTest::makeFile(const QString& name, const QByteArray& content) const
{
    QFile file(at(name));
    QVERIFY(file.open(QIODevice::WriteOnly));
    QCOMPARE(file.write(content), content.size());
}

void EngineTest::makePartial(const QByteArray& path, const QByteArray& content, qint64 size,
                             const QByteArray& validator) const
{
    const QString name = QString::fromUtf8(path.mid(path.lastIndexOf('/') + 1));
    makeFile(name + QStringLiteral("_tmp"), content);
    VantorEngine::StateFile state(at(name + QStringLiteral("_tmp_state")));
    VantorEngine::Coverage onDisk;
    onDisk.add({0, content.size()});
    QVERIFY(state.create({url(path), url(path), validator, size}, onDisk));
}

QByteArray EngineTest::contentOf(const QString& name) const
{
    QFile file(at(name));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(no such file)");
}

QList<QByteArray> EngineTest::rangesAsked(const QByteArray& path) const
{
    QList<QByteArray> ranges;
    for (const HttpRequest& request : m_server->requests(path)) {
        if (request.hasHeader("Range")) {
            ranges.append(request.header("Range"));
        }
    }
    return ranges;
}

bool EngineTest::ended(const QString& guid)
{
    return !engine().endStatus(guid).isEmpty();
}

QStringList EngineTest::hostArguments(const QByteArray& list, const QStringList& options) const
{
    makeFile(QStringLiteral("list.json"), list);
    return QStringList{QStringLiteral(VANTOR_MODULE), at(QStringLiteral("list.json")), at(QStringLiteral("out.json"))} +
           options;
}
