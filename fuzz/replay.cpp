// SPDX-License-Identifier: MIT
// Stands in for libFuzzer where the compiler has none.
//
//   fuzz_X [-runs=N] [FOLDER]
//
// Runs the target on every file of the folder, and then N times on one of them with some bytes changed. The changes are
// the same in every run.
#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QString>
#include <QStringList>
#include <QVector>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <random>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

using Random = std::mt19937;

constexpr unsigned kSeed = 1;
constexpr int kMostChanges = 8;

int below(int limit, Random& random)
{
    return std::uniform_int_distribution<int>(0, limit - 1)(random);
}

void run(const QByteArray& input)
{
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(input.constData()),
                           static_cast<std::size_t>(input.size()));
}

QByteArray changed(QByteArray input, Random& random)
{
    const QByteArray telling("./\\:\n%*?\"0129a ");
    const int changes = 1 + below(kMostChanges, random);
    for (int i = 0; i < changes; ++i) {
        const int position = below(input.size() + 1, random);
        const char byte =
            below(2, random) == 0 ? telling.at(below(telling.size(), random)) : static_cast<char>(below(256, random));
        switch (below(3, random)) {
        case 0:
            input.insert(position, byte);
            break;
        case 1:
            input.remove(position, 1);
            break;
        default:
            input.replace(position, 1, QByteArray(1, byte));
        }
    }
    return input;
}

QVector<QByteArray> contentsOf(const QString& folder)
{
    QVector<QByteArray> contents;
    const QDir dir(folder);
    const QStringList names = dir.entryList(QDir::Files, QDir::Name);
    for (const QString& name : names) {
        QFile file(dir.filePath(name));
        if (file.open(QIODevice::ReadOnly))
            contents.append(file.readAll());
    }
    return contents;
}

} // namespace

int main(int argc, char** argv)
{
    QVector<QByteArray> seeds;
    int runs = 0;
    for (int i = 1; i < argc; ++i) {
        const QByteArray argument(argv[i]);
        if (argument.startsWith("-runs="))
            runs = argument.mid(6).toInt();
        else if (!argument.startsWith('-'))
            seeds += contentsOf(QString::fromLocal8Bit(argument));
    }
    if (seeds.isEmpty()) {
        std::fprintf(stderr, "no input\n");
        return 1;
    }
    for (const QByteArray& seed : qAsConst(seeds))
        run(seed);
    Random random(kSeed);
    for (int i = 0; i < runs; ++i)
        run(changed(seeds.at(below(seeds.size(), random)), random));
    std::printf("%d inputs, %d changed ones\n", seeds.size(), runs);
    return 0;
}
