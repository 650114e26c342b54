#include "app/ByteCountFormatter.h"

#include <QLocale>

#include <array>
#include <cmath>

QString ByteCountFormatter::format(quint64 bytes)
{
    if (bytes == 0)
        return QStringLiteral("Zero KB");
    if (bytes == 1)
        return QStringLiteral("1 byte");
    if (bytes < 1000)
        return QStringLiteral("%1 bytes").arg(bytes);

    struct Unit {
        const char *name;
        int decimals;
    };
    static constexpr std::array<Unit, 6> units{{{"KB", 0}, {"MB", 1}, {"GB", 2}, {"TB", 2}, {"PB", 2}, {"EB", 2}}};
    double value = double(bytes) / 1000.0;
    std::size_t unit = 0;
    // Move up a unit when rounding would show 1,000 of this one ("1 MB", not "1,000 KB").
    while (unit + 1 < units.size()) {
        const double scale = std::pow(10.0, units[unit].decimals);
        if (std::round(value * scale) / scale < 1000.0)
            break;
        value /= 1000.0;
        ++unit;
    }
    const QLocale locale(QLocale::English, QLocale::UnitedStates);
    QString number = locale.toString(value, 'f', units[unit].decimals);
    // The formatter drops a trailing ".0" and ".00".
    if (number.contains(QLatin1Char('.'))) {
        while (number.endsWith(QLatin1Char('0')))
            number.chop(1);
        if (number.endsWith(QLatin1Char('.')))
            number.chop(1);
    }
    return QStringLiteral("%1 %2").arg(number, QLatin1String(units[unit].name));
}
