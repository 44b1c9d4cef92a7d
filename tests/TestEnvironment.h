#pragma once
// Test mains point HOME and the XDG directories at a private temporary folder before anything
// reads the settings, so that no test ever touches the user's real files.
#include <QCoreApplication>
#include <QDir>
#include <QTemporaryDir>
#include <QtTest>

namespace TestEnvironment {
inline QString IsolateUserDirectories()
{
    static QTemporaryDir home(QDir::tempPath() + QStringLiteral("/tessera-test-XXXXXX"));
    const QByteArray path = home.path().toLocal8Bit();
    qputenv("HOME", path);
    qputenv("XDG_DATA_HOME", path + "/.local/share");
    qputenv("XDG_CONFIG_HOME", path + "/.config");
    qputenv("XDG_CACHE_HOME", path + "/.cache");
    return home.path();
}
}

/// The main of a test that needs `Application` (QApplication for widgets).
#define TESSERA_TEST_MAIN_WITH(Application, TestClass)                \
    int main(int argc, char** argv)                                   \
    {                                                                 \
        TestEnvironment::IsolateUserDirectories();                    \
        Application app(argc, argv);                                  \
        TestClass test;                                               \
        QTEST_SET_MAIN_SOURCE_PATH                                    \
        return QTest::qExec(&test, argc, argv);                       \
    }

#define TESSERA_TEST_MAIN(TestClass) TESSERA_TEST_MAIN_WITH(QCoreApplication, TestClass)
