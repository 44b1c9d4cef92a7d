#pragma once
// Test mains point HOME and the XDG directories at a private temporary folder before anything
// reads the settings, so that no test ever touches the user's real files.
#include <QCoreApplication>
#include <QtTest>

#include "UserDirectories.h"

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
