// SPDX-License-Identifier: MIT
#pragma once

#include <QObject>
#include <QSet>
#include <QString>

namespace VantorEngine {

/// The paths that are being written. Two files of the same path, of one list or two, never run at once: the second
/// waits for the first.
class PathRegistry : public QObject
{
    Q_OBJECT
public:
    /// \return false when somebody else has the path.
    bool claim(const QString& key);
    /// Frees the path and tells everybody, once the event loop is reached again.
    void release(const QString& key);

signals:
    void released(const QString& key);

private:
    QSet<QString> m_claimed;
};

} // namespace VantorEngine
