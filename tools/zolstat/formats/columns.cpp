// The columns that csv, raw and the flat table have in common.
// Not the place for widths, separators or escapes.
// The protocol that the statistics come by is written down in docs/protocol.md.
#include "columns.h"

#include <fmt/chrono.h>
#include <fmt/format.h>

#include <cmath>

namespace tools::zolstat {

std::string_view nameOf(Column column) {
    switch (column) {
        case Column::Time:
            return "time";
        case Column::Host:
            return "host";
        case Column::Port:
            return "port";
        case Column::Group:
            return "group";
        case Column::Id:
            return "id";
        case Column::Value:
            return "value";
        case Column::Change:
            return "change";
        case Column::Code:
            return "code";
    }
    return "";
}

std::vector<Column> columnsOf(Kind kind, const Layout& layout) {
    if (!layout.columns.empty()) {
        return layout.columns;
    }
    std::vector<Column> columns{Column::Time, Column::Host, Column::Port, Column::Group};
    if (kind != Kind::Groups) {
        columns.push_back(Column::Id);
    }
    if (kind == Kind::Statistics) {
        columns.push_back(Column::Value);
    }
    if (kind == Kind::Statistics && layout.changes) {
        columns.push_back(Column::Change);
    }
    columns.push_back(Column::Code);
    return columns;
}

std::string cellOf(Column column, const Sample& sample, const Reading& reading) {
    switch (column) {
        case Column::Time:
            return timestamp(sample.time);
        case Column::Host:
            return sample.gateway.host;
        case Column::Port:
            return std::to_string(sample.gateway.port);
        case Column::Group:
            return reading.group;
        case Column::Id:
            return reading.id;
        case Column::Value:
            return reading.value.value_or("");
        case Column::Change:
            return changeText(reading);
        case Column::Code:
            return std::to_string(reading.code);
    }
    return "";
}

std::string timestamp(std::chrono::system_clock::time_point time) {
    const auto seconds = std::chrono::floor<std::chrono::seconds>(time);
    const auto milliseconds = std::chrono::floor<std::chrono::milliseconds>(time - seconds);
    return fmt::format("{:%Y-%m-%dT%H:%M:%S}.{:03}Z",
                       fmt::gmtime(std::chrono::system_clock::to_time_t(seconds)), milliseconds.count());
}

std::string changeText(const Reading& reading) {
    if (reading.change && reading.change->restarted) {
        return "restart";
    }
    return reading.change && std::isfinite(reading.change->perSecond)
               ? fmt::format("{:.15g}", reading.change->perSecond)
               : "";
}

}  // namespace tools::zolstat
