// SPDX-License-Identifier: MIT
#include "NginxServer.h"

#include <QDir>
#include <QFile>
#include <QTcpServer>
#include <QTcpSocket>
#include <QtTest>

namespace {

constexpr int kRunLimitMs = 60000;
constexpr int kEndLimitMs = 5000;
constexpr int kConnectLimitMs = 1000;

const char* const kConfiguration = R"(daemon off; master_process off; pid PREFIX/nginx.pid; error_log PREFIX/error.log;
events { worker_connections 256; }
http {
    client_body_temp_path PREFIX/t1; proxy_temp_path PREFIX/t2; fastcgi_temp_path PREFIX/t3;
    uwsgi_temp_path PREFIX/t4; scgi_temp_path PREFIX/t5;
    SITES
}
)";

quint16 freePort()
{
    QTcpServer probe;
    return probe.listen(QHostAddress::LocalHost) ? probe.serverPort() : quint16(0);
}

bool run(const QString& command)
{
    QProcess process;
    process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    const QStringList words = command.split(QLatin1Char(' '));
    process.start(words.first(), words.mid(1));
    return process.waitForFinished(kRunLimitMs) && process.exitStatus() == QProcess::NormalExit &&
           process.exitCode() == 0;
}

bool writeFile(const QString& path, const QByteArray& content)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(content) == content.size();
}

} // namespace

NginxServer::~NginxServer()
{
    if (m_process.state() == QProcess::NotRunning)
        return;
    m_process.terminate();
    if (!m_process.waitForFinished(kEndLimitMs))
        m_process.kill();
    m_process.waitForFinished();
}

void NginxServer::start(const QByteArray& sites)
{
    QVERIFY(QDir(m_folder.path()).mkpath(QStringLiteral("www")));
    m_port = freePort();
    m_tlsPort = freePort();
    QVERIFY(m_port != 0 && m_tlsPort != 0 && m_port != m_tlsPort);
    makeCertificates();

    QByteArray text(kConfiguration);
    text.replace("SITES", sites);
    text.replace("CERTIFICATE", "ssl_certificate PREFIX/server.pem; ssl_certificate_key PREFIX/server.key;");
    text.replace("PREFIX", m_folder.path().toUtf8());
    text.replace("PLAIN", QByteArray::number(m_port));
    text.replace("TLS", QByteArray::number(m_tlsPort));
    const QString configuration = path(QStringLiteral("nginx.conf"));
    QVERIFY(writeFile(configuration, text));
    m_process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    // Debian's place for it is not on everybody's path.
    m_process.start(QStringLiteral("/usr/sbin/nginx"), {QStringLiteral("-c"), configuration});
    QVERIFY(m_process.waitForStarted());
    QTRY_VERIFY(answers());
}

void NginxServer::makeCertificates() const
{
    // An authority of our own, and the server's certificate signed by it.
    const QString folder = m_folder.path();
    QVERIFY(writeFile(path(QStringLiteral("ext")), "subjectAltName=DNS:localhost\n"));
    QVERIFY(run(QStringLiteral("openssl req -x509 -newkey rsa:2048 -nodes -days 2 -subj /CN=Authority "
                               "-keyout %1/ca.key -out %1/ca.pem")
                    .arg(folder)));
    QVERIFY(run(QStringLiteral("openssl req -newkey rsa:2048 -nodes -subj /CN=localhost "
                               "-keyout %1/server.key -out %1/server.csr")
                    .arg(folder)));
    QVERIFY(run(QStringLiteral("openssl x509 -req -in %1/server.csr -CA %1/ca.pem -CAkey %1/ca.key -CAcreateserial "
                               "-days 2 -extfile %1/ext -out %1/server.pem")
                    .arg(folder)));
}

bool NginxServer::answers() const
{
    QTcpSocket socket;
    socket.connectToHost(QStringLiteral("127.0.0.1"), m_port);
    return socket.waitForConnected(kConnectLimitMs);
}
