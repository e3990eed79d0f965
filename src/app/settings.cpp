#include "app/settings.h"

#include "app/globals.h"

Tavrol_Settings::Tavrol_Settings()
    : QSettings(QSettings::NativeFormat, QSettings::UserScope, QLatin1String(TavrolOrganization),
                QLatin1String(TavrolApplicationName))
{
}

QString Tavrol_Settings::Key(const QString& name)
{
    return QLatin1String(TavrolMajorVersion) + name;
}
