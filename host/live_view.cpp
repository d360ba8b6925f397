#include "host/live_view.hpp"

#include <algorithm>
#include <array>
#include <cstdio>
#include <numeric>

#include "host/channel_formatter.hpp"
#include "host/host_platform.hpp"
#include "host/module_documents.hpp"
#include "host/watch_summary.hpp"

namespace zentrova::monitoring_modules::host {
namespace {

bool continuation_byte(char c) {
    return (static_cast<unsigned char>(c) & 0xC0U) == 0x80U;
}

// Characters of UTF-8 text, each taken as one column.
std::size_t columns(const std::string& text) {
    return static_cast<std::size_t>(
        std::count_if(text.begin(), text.end(), [](char c) { return !continuation_byte(c); }));
}

// At most `width` columns of the text, ending in "…" when cut.
std::string fit(const std::string& text, std::size_t width) {
    if (columns(text) <= width) {
        return text;
    }
    if (width == 0) {
        return "";
    }
    std::size_t kept = 0;
    std::size_t end = 0;
    for (; end < text.size(); ++end) {
        if (!continuation_byte(text[end])) {
            if (kept == width - 1) {
                break;
            }
            ++kept;
        }
    }
    return text.substr(0, end) + "…";
}

std::string printed(const char* format, double value) {
    std::array<char, 64> text{};
    std::snprintf(text.data(), text.size(), format, value);
    return text.data();
}

std::string padded(std::string text, std::size_t width, bool right = false) {
    text = fit(text, width);
    const std::size_t length = columns(text);
    const std::string fill(width > length ? width - length : 0, ' ');
    return right ? fill + text : text + fill;
}

// "virtual_machine_sensor" as "virtual_machine".
std::string short_kind(const std::string& kind) {
    const std::string suffix = "_sensor";
    return kind.size() > suffix.size() &&
                   kind.compare(kind.size() - suffix.size(), suffix.size(), suffix) == 0
               ? kind.substr(0, kind.size() - suffix.size())
               : kind;
}

}  // namespace

live_view::live_view(std::ostream& out, const module_documents& documents)
    : out_(out), documents_(documents), last_usage_(process_usage::now()) {}

live_view::~live_view() {
    if (drawn_) {
        out_ << "\033[?25h" << std::flush;
    }
}

std::vector<std::string> live_view::header(const watch_tally& tally, double elapsed,
                                           const std::string& state, std::size_t width) {
    const auto kinds = tally.kinds(false);
    const kind_tally& all = kinds.back().second;
    const auto usage = process_usage::now();
    // Rates over at least a second; a redraw soon after the last one shows the last rates.
    const double span = elapsed - last_elapsed_;
    if (span >= 0.9) {
        rate_ = static_cast<double>(all.checks - last_checks_) / span;
        cpu_percent_ = (usage.cpu_seconds - last_usage_.cpu_seconds) / span * 100.0;
        last_elapsed_ = elapsed;
        last_checks_ = all.checks;
        last_usage_ = usage;
    }

    std::vector<std::string> lines;
    lines.push_back(
        "sensor-host watch  " + watch_summary::clock_text(elapsed) + "  " +
        std::to_string(all.sensors) + " sensors  " + std::to_string(all.checks) + " checks  " +
        printed("%.1f", rate_) + "/s  CPU " + printed("%.0f", cpu_percent_) + "%  " +
        printed("%.1f", static_cast<double>(usage.resident_bytes) / 1048576.0) + " MiB");
    lines.push_back(std::to_string(all.checks - all.succeeded) + " failed  " +
                    std::to_string(all.throttled) + " throttled (429)" +
                    (state.empty() ? "" : "  " + state));
    std::vector<std::pair<std::string, std::uint64_t>> failures(all.failures.begin(),
                                                                all.failures.end());
    std::stable_sort(failures.begin(), failures.end(),
                     [](const auto& a, const auto& b) { return a.second > b.second; });
    constexpr std::size_t shown_keys = 3;
    for (std::size_t i = 0; i < failures.size() && i < shown_keys; ++i) {
        lines.push_back(padded(std::to_string(failures[i].second), 8, true) + "  " +
                        failures[i].first);
    }
    if (failures.size() > shown_keys) {
        lines.push_back("          … " + std::to_string(failures.size() - shown_keys) +
                        " more message keys");
    }
    for (auto& line : lines) {
        line = fit(line, width);
    }
    return lines;
}

std::string live_view::last_result(const sensor_tally& tally) const {
    const check_record& last = tally.last;
    if (tally.checks == 0) {
        return "(not checked yet)";
    }
    if (!last.succeeded()) {
        return last.has_result ? documents_.resolve(last.message) : last.message;
    }
    std::string values;
    for (const auto& line : channel_formatter(documents_).lines(last.result, last.channels)) {
        values += (values.empty() ? "" : ", ") + line.name + " " + line.value;
    }
    return values.empty() ? "OK" : values;
}

void live_view::draw(const watch_tally& tally, std::chrono::duration<double> elapsed,
                     const std::string& state) {
    // Output that stopped being a terminal keeps the usual size.
    const auto size = output_terminal_size().value_or(terminal_size{});
    const std::size_t width = size.columns > 1 ? size.columns - 1 : 1;  // never the last column
    auto lines = header(tally, elapsed.count(), state, width);
    lines.emplace_back();

    const auto& sensors = tally.sensors();
    const auto tallies = tally.sensor_tallies();
    std::vector<std::size_t> order(sensors.size());
    std::iota(order.begin(), order.end(), 0);
    auto rank = [&](std::size_t i) {
        return tallies[i].checks == 0 ? 1 : tallies[i].last.succeeded() ? 2 : 0;
    };
    std::stable_sort(order.begin(), order.end(),
                     [&](std::size_t a, std::size_t b) { return rank(a) < rank(b); });

    // A narrow terminal leaves the kind out and cuts names shorter, to keep room for results.
    const bool wide = width >= 110;
    std::size_t id_width = 2;
    std::size_t name_width = 8;
    std::size_t kind_width = 4;
    for (const auto& sensor : sensors) {
        id_width = std::max(id_width, std::to_string(sensor.id).size());
        name_width = std::max(name_width, columns(sensor.resource));
        kind_width = std::max(kind_width, columns(short_kind(sensor.kind)));
    }
    name_width = std::min<std::size_t>(name_width, wide ? 28 : 20);
    auto row = [&](const std::string& id, const std::string& name, const std::string& kind,
                   const std::string& latency, const std::string& checks, const std::string& failed,
                   const std::string& result) {
        return fit(padded(id, id_width, true) + "  " + padded(name, name_width) + "  " +
                       (wide ? padded(kind, kind_width) + "  " : "") + padded(latency, 7, true) +
                       "  " + padded(checks, 6, true) + "  " + padded(failed, 6, true) + "  " +
                       result,
                   width);
    };
    lines.push_back(row("ID", "RESOURCE", "KIND", "LATENCY", "CHECKS", "FAILED", "LAST RESULT"));

    // The screen keeps its last row free: a line feed there would scroll the frame.
    const std::size_t room = size.rows > lines.size() + 1 ? size.rows - lines.size() - 1 : 0;
    const std::size_t shown = order.size() <= room ? order.size() : (room > 0 ? room - 1 : 0);
    for (std::size_t n = 0; n < shown; ++n) {
        const std::size_t i = order[n];
        const auto& t = tallies[i];
        lines.push_back(row(std::to_string(sensors[i].id), sensors[i].resource,
                            short_kind(sensors[i].kind),
                            t.checks == 0 ? "" : printed("%.0f ms", t.last.latency_ms),
                            std::to_string(t.checks), std::to_string(t.failures), last_result(t)));
    }
    if (shown < order.size() && room > 0) {
        lines.push_back(fit("… " + std::to_string(order.size() - shown) +
                                " more sensors (a taller terminal shows them)",
                            width));
    }

    lines.resize(std::min(lines.size(), size.rows > 1 ? size.rows - 1 : 1));
    if (!drawn_) {
        // The lines on screen scroll up into the terminal's history rather than being wiped.
        out_ << "\033[?25l" << std::string(size.rows, '\n');
    }
    out_ << "\033[H";
    for (const auto& line : lines) {
        out_ << line << "\033[K\r\n";
    }
    out_ << "\033[J" << std::flush;
    drawn_ = true;
}

}  // namespace zentrova::monitoring_modules::host
