#include <QCoreApplication>
#include <QSettings>
#include <cstdlib>

#include "bench/resident.h"

int main(int argc, char **argv) {
    QCoreApplication const application(argc, argv);
    QString const home = QString::fromLocal8Bit(std::getenv("KQEXEC_HOME"));
    QSettings const settings(home + "/etc/app.cfg", QSettings::IniFormat);
    for (QString const &key : settings.allKeys()) (void)settings.value(key);
    tellResident();
    return 0;
}
