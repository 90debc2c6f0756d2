// SPDX-License-Identifier: MIT
#pragma once

#include <QMutex>
#include <QMutexLocker>
#include <QString>
#include <QStringList>

/// \brief Collects what is written to Qt's message handler while it lives; one at a time. Any thread may write.
class MessageCapture
{
public:
    explicit MessageCapture(QtMsgType type)
    {
        const QMutexLocker lock(&state().mutex);
        state().type = type;
        state().texts.clear();
        m_before = qInstallMessageHandler(&MessageCapture::collect);
    }
    ~MessageCapture() { qInstallMessageHandler(m_before); }
    MessageCapture(const MessageCapture&) = delete;
    MessageCapture& operator=(const MessageCapture&) = delete;

    /// \brief The texts of the type so far, in order.
    QStringList texts() const
    {
        const QMutexLocker lock(&state().mutex);
        return state().texts;
    }

private:
    struct State
    {
        QMutex mutex;
        QtMsgType type = QtDebugMsg;
        QStringList texts;
    };

    static State& state()
    {
        static State instance;
        return instance;
    }

    static void collect(QtMsgType type, const QMessageLogContext&, const QString& text)
    {
        const QMutexLocker lock(&state().mutex);
        if (type == state().type)
            state().texts.append(text);
    }

    QtMessageHandler m_before = nullptr;
};
