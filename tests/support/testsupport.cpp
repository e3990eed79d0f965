#include "testsupport.h"

#include <QDir>

namespace TestSupport {

QString FixturesDir()
{
    return QStringLiteral(TAVROL_FIXTURES_DIR);
}

QString FixturePath(const QString& name)
{
    return QDir(FixturesDir()).absoluteFilePath(name);
}

QString TestDataPath(const QString& name)
{
    return QDir(QStringLiteral(TAVROL_TEST_DATA_DIR)).absoluteFilePath(name);
}

QString TavrolBinary()
{
    return QStringLiteral(TAVROL_BINARY);
}

} // namespace TestSupport
