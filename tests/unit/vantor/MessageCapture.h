// SPDX-License-Identifier: MIT
#pragma once

#include <QMutex>
#include <QMutexLocker>
#include <QStringList>
#include <QtGlobal>

/// \brief Collects the messages of Qt's own message channel while it lives. One at a time.
class MessageCapture
{
public:
    MessageCapture()
    {
        state().texts.clear();
        m_previous = qInstallMessageHandler(take);
    }
    ~MessageCapture() { qInstallMessageHandler(m_previous); }
    MessageCapture(const MessageCapture&) = delete;
    MessageCapture& operator=(const MessageCapture&) = delete;

    /// \brief The messages of a type so far.
    QStringList Texts(QtMsgType type) const
    {
        const QMutexLocker locker(&state().mutex);
        QStringList texts;
        for (const auto& [messageType, text] : state().texts) {
            if (messageType == type)
                texts.append(text);
        }
        return texts;
    }

private:
    struct State
    {
        QMutex mutex;
        QList<std::pair<QtMsgType, QString>> texts;
    };

    static State& state()
    {
        static State instance;
        return instance;
    }

    static void take(QtMsgType type, const QMessageLogContext& /*context*/, const QString& text)
    {
        const QMutexLocker locker(&state().mutex);
        state().texts.append({type, text});
    }

    QtMessageHandler m_previous = nullptr;
};
