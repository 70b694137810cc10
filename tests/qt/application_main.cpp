// Tests of windows need an application. Without a screen it is the offscreen one; what it remembers goes to a
// scratch folder.
#include <gtest/gtest.h>

#include <QApplication>

#include "support/temp_folder.h"

int main(int count, char** arguments) {
  const kestrel::testing::TempFolder settings;
  qputenv("XDG_CONFIG_HOME", settings.path().c_str());
  if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
  QApplication application(count, arguments);
  QApplication::setQuitOnLastWindowClosed(false);
  ::testing::InitGoogleTest(&count, arguments);
  return RUN_ALL_TESTS();
}
