// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QMetaMethod>
#include <QMetaObject>
#include <QString>
#include <QStringList>

/// \brief The methods of one kind that a class itself declares, in order of declaration, as "name(Type argument,
/// Type)".
inline QStringList declaredMethods(const QMetaObject& metaObject, QMetaMethod::MethodType kind)
{
    QStringList texts;
    for (int index = metaObject.methodOffset(); index < metaObject.methodCount(); ++index) {
        const QMetaMethod method = metaObject.method(index);
        if (method.methodType() != kind)
            continue;
        QStringList arguments;
        for (int argument = 0; argument < method.parameterCount(); ++argument) {
            QString type = QString::fromLatin1(method.parameterTypes().at(argument));
            // The meta-object knows this type by another of its names.
            type.replace(QLatin1String("qlonglong"), QLatin1String("qint64"));
            const QString name = QString::fromLatin1(method.parameterNames().at(argument));
            arguments.append(name.isEmpty() ? type : type + QLatin1Char(' ') + name);
        }
        texts.append(QString::fromLatin1(method.name()) + QLatin1Char('(') + arguments.join(QLatin1String(", ")) +
                     QLatin1Char(')'));
    }
    return texts;
}

/// \brief The signals that a class itself declares.
inline QStringList declaredSignals(const QMetaObject& metaObject)
{
    return declaredMethods(metaObject, QMetaMethod::Signal);
}

/// \brief The slots that a class itself declares.
inline QStringList declaredSlots(const QMetaObject& metaObject)
{
    return declaredMethods(metaObject, QMetaMethod::Slot);
}
