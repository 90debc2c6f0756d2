// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QProcess>
#include <QString>
#include <QTemporaryDir>

/// \brief A real web server in a folder of its own, on two free ports, for the second of which it has a certificate.
class NginxServer
{
public:
    NginxServer() = default;
    ~NginxServer();
    NginxServer(const NginxServer&) = delete;
    NginxServer& operator=(const NginxServer&) = delete;

    /// \brief Makes the folder, with "www" in it, and the certificate, and starts the server. A step that fails fails
    /// the test.
    /// \param sites what the configuration's http block says, where PREFIX stands for the folder, PLAIN and TLS for
    /// the ports and CERTIFICATE for the directives that name the certificate
    void start(const QByteArray& sites);

    quint16 port() const { return m_port; }
    quint16 tlsPort() const { return m_tlsPort; }
    /// \brief The place of a file below the folder.
    QString path(const QString& name) const { return m_folder.filePath(name); }
    /// \brief The certificate of the authority that signed the server's, made for this server alone.
    QString authority() const { return path(QStringLiteral("ca.pem")); }

private:
    void makeCertificates() const;
    bool answers() const;

    const QTemporaryDir m_folder;
    QProcess m_process;
    quint16 m_port = 0;
    quint16 m_tlsPort = 0;
};
