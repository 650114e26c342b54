#pragma once

#include <QLatin1String>
#include <QString>

#include <array>
#include <optional>
#include <utility>

// Raw values of an enumeration kept in one table of (case, name) pairs, read
// both ways.
template <typename E, std::size_t N> using EnumNameTable = std::array<std::pair<E, const char *>, N>;

template <typename E, std::size_t N> QString enumName(const EnumNameTable<E, N> &table, E value)
{
    for (const auto &[candidate, name] : table) {
        if (candidate == value)
            return QString::fromLatin1(name);
    }
    return {};
}

template <typename E, std::size_t N> std::optional<E> enumFromName(const EnumNameTable<E, N> &table, const QString &raw)
{
    for (const auto &[value, name] : table) {
        if (raw == QLatin1String(name))
            return value;
    }
    return std::nullopt;
}
