// Without libFuzzer (the ordinary build) a target is a program that runs the inputs it is given,
// files or folders of files, once each: the seed corpus replayed by the test suite, so that an input
// which once broke a decoder keeps being tried by everyone's build.
#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <cstdint>
#include <cstdio>
#include <memory>

#include "FuzzSupport.h"

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv);
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

int main(int argc, char** argv)
{
    LLVMFuzzerInitialize(&argc, &argv);
    QStringList files;
    for (int i = 1; i < argc; ++i) {
        const QString path = QString::fromLocal8Bit(argv[i]);
        const QFileInfo info(path);
        if (info.isDir()) {
            const QDir dir(path);
            for (const QString& name : dir.entryList(QDir::Files, QDir::Name))
                files << dir.filePath(name);
        }
        else if (info.isFile())
            files << path;
        else {
            std::fprintf(stderr, "error - no such input: %s\n", argv[i]);
            return 2;
        }
    }
    if (files.isEmpty()) {
        std::fprintf(stderr, "error - no inputs given\n");
        return 2;
    }
    for (const QString& path : files) {
        QFile file(path);
        if (!file.open(QIODevice::ReadOnly)) {
            std::fprintf(stderr, "error - cannot read %s: %s\n", qPrintable(path), qPrintable(file.errorString()));
            return 2;
        }
        // An exact-size copy, so that a read past the end is a read past the allocation.
        const QByteArray bytes = file.readAll();
        const std::unique_ptr<quint8[]> data = FuzzSupport::ExactCopy(reinterpret_cast<const quint8*>(bytes.constData()), size_t(bytes.size()));
        LLVMFuzzerTestOneInput(data.get(), size_t(bytes.size()));
    }
    std::printf("%d inputs replayed\n", int(files.size()));
    return 0;
}
