// A main function for tests that need the launcher's application object.
#pragma once

#include <QTest>

#include "platform/application.h"

// NOLINTNEXTLINE(cppcoreguidelines-macro-usage)
#define TARVEX_TEST_MAIN(TestClass)                      \
  int main(int argc, char **argv) {                      \
    int programAlone = 1;                                \
    tarvex::Application application(programAlone, argv); \
    TestClass test;                                      \
    return QTest::qExec(&test, argc, argv);              \
  }
