#pragma once

// Helpers shared by the test executables.

#include <QString>

namespace TestSupport {

// A stand-in program of tests/fixtures, by file name.
QString FixturePath(const QString& name);
// The fixtures directory itself.
QString FixturesDir();
// A file of tests/data.
QString TestDataPath(const QString& name);
// The built tavrol executable.
QString TavrolBinary();

} // namespace TestSupport
