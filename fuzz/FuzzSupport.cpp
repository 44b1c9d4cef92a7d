// Run once by libFuzzer before the first input, for every target: the user's settings and files stay
// untouched (HOME and the XDG directories point at a private folder, removed at exit) and Qt's
// warnings about bad input stay off the terminal.
#include <QtGlobal>

#include "UserDirectories.h"

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    TestEnvironment::IsolateUserDirectories();
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext&, const QString&) {});
    return 0;
}
