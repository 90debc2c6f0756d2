// SPDX-License-Identifier: MIT
#include "Language.h"

#include <QCoreApplication>
#include <QLocale>
#include <QTranslator>

#include <memory>

namespace {

const QLatin1String kEnglish("en-us");
const QLatin1String kChinese("zh-cn");

} // namespace

QStringList Language::names()
{
    return {kEnglish, kChinese};
}

QString Language::ofSystem()
{
    return QLocale::system().language() == QLocale::Chinese ? kChinese : kEnglish;
}

bool Language::use(const QString& name)
{
    if (!names().contains(name))
        return false;
    auto translator = std::make_unique<QTranslator>(QCoreApplication::instance());
    if (!translator->load(QStringLiteral(":/languages/%1.qm").arg(name)))
        return false;
    return QCoreApplication::installTranslator(translator.release());
}
