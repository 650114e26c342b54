#include "foundation/ByteCountFormatter.h"

#include <array>

namespace {

struct Unit {
    const char *name;
    int decimals;
    // One step of the last shown digit, in bytes: 1 KB for "12 KB", 100 KB for "1.2 MB", 10 MB for "1.23 GB".
    quint64 step;
};

constexpr std::array<Unit, 6> units{{
    {"KB", 0, 1'000ULL},
    {"MB", 1, 100'000ULL},
    {"GB", 2, 10'000'000ULL},
    {"TB", 2, 10'000'000'000ULL},
    {"PB", 2, 10'000'000'000'000ULL},
    {"EB", 2, 10'000'000'000'000'000ULL},
}};

constexpr quint64 power10(int exponent)
{
    quint64 value = 1;
    for (int i = 0; i < exponent; ++i)
        value *= 10;
    return value;
}

// `bytes` in steps of `step`, half a step and more rounding up. Done in integers so that a count right on
// a rounding edge (1,500 bytes, 999,500 bytes) rounds the same way on every machine.
quint64 roundedSteps(quint64 bytes, quint64 step)
{
    const quint64 whole = bytes / step;
    const quint64 rest = bytes % step;
    return rest >= step - rest ? whole + 1 : whole;
}

} // namespace

QString ByteCountFormatter::format(quint64 bytes)
{
    if (bytes == 0)
        return QStringLiteral("Zero KB");
    if (bytes == 1)
        return QStringLiteral("1 byte");
    if (bytes < 1000)
        return QStringLiteral("%1 bytes").arg(bytes);

    // The smallest unit in which the rounded number stays below 1,000, so that 999,999 bytes read "1 MB"
    // and never "1,000 KB".
    std::size_t index = 0;
    quint64 steps = roundedSteps(bytes, units[0].step);
    while (index + 1 < units.size() && steps >= 1000 * power10(units[index].decimals)) {
        ++index;
        steps = roundedSteps(bytes, units[index].step);
    }
    const Unit &unit = units[index];
    const quint64 scale = power10(unit.decimals);
    QString number = QString::number(steps / scale);
    quint64 fraction = steps % scale;
    if (fraction != 0) {
        int digits = unit.decimals;
        // The formatter doesn't pad: 1.20 GB reads "1.2 GB".
        while (fraction % 10 == 0) {
            fraction /= 10;
            --digits;
        }
        number += QLatin1Char('.') + QStringLiteral("%1").arg(fraction, digits, 10, QLatin1Char('0'));
    }
    return number + QLatin1Char(' ') + QLatin1String(unit.name);
}
