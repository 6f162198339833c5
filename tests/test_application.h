// A main function for tests that need the launcher's application object.
#pragma once

#include <QDebug>
#include <QTest>

#include "platform/application.h"

// The values as text, for the message of a failed test.
template <typename... Values>
QByteArray told(const Values &...values) {
  QString text;
  (QDebug(&text) << ... << values);
  return text.toUtf8();
}

// NOLINTNEXTLINE(cppcoreguidelines-macro-usage)
#define TARVEX_TEST_MAIN(TestClass)                      \
  int main(int argc, char **argv) {                      \
    int programAlone = 1;                                \
    tarvex::Application application(programAlone, argv); \
    TestClass test;                                      \
    return QTest::qExec(&test, argc, argv);              \
  }
