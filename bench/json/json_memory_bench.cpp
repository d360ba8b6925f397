// What reading one answer adds to the process's peak memory, for answers of every shape under the
// 32 MiB answer cap: hostile ones (millions of tiny values, deep nesting, long texts, many
// members, an answer the plain reader declines near its end) and real ones (a cost query grouped
// by resource id, a month of per-minute metrics). Each answer is parsed, and its root read as a
// list of objects when it is one, in a child process of its own, whose peak resident set (VmHWM)
// is reset once the text is built, so that a figure is the reading's alone: once in a fresh
// process and once after a large answer has changed how the C library hands out memory.

#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

#include "json/exceptions.hpp"
#include "json/parser_factory.hpp"

namespace {

using zentrova::monitoring_modules::json::create_jsonpointer_parser;
namespace exceptions = zentrova::monitoring_modules::json::exceptions;

// Under the answer cap with room to spare, as a hostile peer would aim.
constexpr std::size_t hostile_bytes = 30'000'000;

struct answer_shape {
    const char* name;
    std::function<std::string()> make;
};

// `unit` repeated, separated by commas, inside `open` and `close`, filling `bytes`.
std::string repeated(const std::string& open, const std::string& unit, const std::string& close,
                     std::size_t bytes = hostile_bytes) {
    std::string text;
    text.reserve(bytes + unit.size() + close.size() + 1);
    text += open;
    while (text.size() + unit.size() + 1 + close.size() <= bytes) {
        text += unit;
        text += ',';
    }
    text.pop_back();
    text += close;
    return text;
}

std::string one_text(const std::string& tail) {
    std::string text(hostile_bytes - tail.size() - 2, 'a');
    return '"' + text + tail + '"';
}

// A cost query grouped by resource id, Azure's page of 1,000 rows times `pages`.
std::string cost_by_resource_id(std::size_t rows) {
    std::string text = R"({"id":"subscriptions/6d5c4b3a-2f1e-4d0c-8b9a-7f6e5d4c3b2a/providers/)"
                       R"(Microsoft.CostManagement/query/1","name":"1","type":"Microsoft.)"
                       R"(CostManagement/query","properties":{"nextLink":null,"columns":[)"
                       R"({"name":"PreTaxCost","type":"Number"},{"name":"ResourceId","type":)"
                       R"("String"},{"name":"ResourceType","type":"String"},{"name":)"
                       R"("ServiceName","type":"String"},{"name":"Currency","type":"String"}],)"
                       R"("rows":[)";
    for (std::size_t row = 0; row < rows; ++row) {
        std::array<char, 512> entry{};
        std::snprintf(entry.data(), entry.size(),
                      R"([%.17g,"/subscriptions/6d5c4b3a-2f1e-4d0c-8b9a-7f6e5d4c3b2a/)"
                      R"(resourcegroups/rg-web-%zu/providers/microsoft.compute/virtualmachines/)"
                      R"(vm-web-%zu","microsoft.compute/virtualmachines","Virtual Machines",)"
                      R"("USD"]%s)",
                      12.3456789012345 * static_cast<double>(row + 1), row % 40, row,
                      row + 1 < rows ? "," : "");
        text += entry.data();
    }
    return text + "]}}";
}

// One metric's time series at one point a minute: a day is 1,440 points.
std::string metric_points(std::size_t points) {
    std::string text =
        R"({"cost":0,"timespan":"2024-05-01T00:00:00Z/2024-05-31T00:00:00Z","interval":"PT1M",)"
        R"("value":[{"id":"/subscriptions/6d5c4b3a-2f1e-4d0c-8b9a-7f6e5d4c3b2a/resourceGroups/)"
        R"(rg-web/providers/Microsoft.Compute/virtualMachines/vm-web-01/providers/Microsoft.)"
        R"(Insights/metrics/Percentage CPU","type":"Microsoft.Insights/metrics","name":{"value":)"
        R"("Percentage CPU","localizedValue":"Percentage CPU"},"unit":"Percent","timeseries":[)"
        R"({"metadatavalues":[],"data":[)";
    for (std::size_t point = 0; point < points; ++point) {
        std::array<char, 128> entry{};
        std::snprintf(entry.data(), entry.size(),
                      R"({"timeStamp":"2024-05-%02zuT%02zu:%02zu:00Z","average":%.2f}%s)",
                      1 + point / 1440, point / 60 % 24, point % 60,
                      static_cast<double>(point % 10000) / 100.0, point + 1 < points ? "," : "");
        text += entry.data();
    }
    return text + "]}]}]}";
}

// `count` copies of `unit` in an array: with the array, count + 1 values when each unit is one.
std::string array_of(std::size_t count, const std::string& unit) {
    return repeated("[", unit, "]", 2 + count * (unit.size() + 1));
}

// An object of `count` members named by `width`-digit numbers, each holding `value`.
std::string members(std::size_t count, int width, const char* value = "0") {
    std::string text = "{";
    text.reserve(count * (static_cast<std::size_t>(width) + 6) + 2);
    std::array<char, 64> entry{};
    for (std::size_t member = 0; member < count; ++member) {
        std::snprintf(entry.data(), entry.size(), R"("%0*zu":%s,)", width, member, value);
        text += entry.data();
    }
    text.back() = '}';
    return text;
}

// Groups of arrays `depth` deep, side by side in one array, `count` arrays in all.
std::string nested(std::size_t count, std::size_t depth) {
    const std::string group = std::string(depth, '[') + std::string(depth, ']');
    return array_of(count / depth, group);
}

constexpr std::size_t cap = zentrova::monitoring_modules::json::largest_document_values;

const std::vector<answer_shape>& shapes() {
    static const std::vector<answer_shape> all{
        // 30 MB of tiny values: refused at the cap.
        {"15 million zeros", [] { return repeated("[", "0", "]"); }},
        {"10 million empty objects", [] { return repeated("[", "{}", "]"); }},
        {"7.5 million one-letter texts", [] { return repeated("[", "\"a\"", "]"); }},
        {"2.3 million members of one object", [] { return members(2'300'000, 8); }},
        {"15 million arrays 1,000 deep", [] { return nested(15'000'000, 1000); }},
        {"15 million zeros, an escape at the end",
         [] { return repeated("[", "0", "", hostile_bytes - 8) + R"(,"\n"])"; }},
        {"30 MB of [", [] { return std::string(hostile_bytes, '['); }},
        // The most a document may hold, of each kind of value.
        {"999,999 zeros", [] { return array_of(cap - 1, "0"); }},
        {"999,999 empty objects", [] { return array_of(cap - 1, "{}"); }},
        {"999,999 texts of 28 bytes",
         [] { return array_of(cap - 1, '"' + std::string(28, 'a') + '"'); }},
        {"999,999 members, 24-byte names", [] { return members(cap - 1, 24); }},
        {"999,999 members, 24-byte names, empty objects",
         [] { return members(cap - 1, 24, "{}"); }},
        {"999,000 arrays 60 deep", [] { return nested(999'000, 60); }},
        {"999,000 arrays 1,000 deep", [] { return nested(999'000, 1000); }},
        {"999,998 zeros, an escape at the end",
         [] {
             std::string text = array_of(cap - 2, "0");
             text.back() = ',';
             return text + R"("\n"])";
         }},
        // Long texts.
        {"one 30 MB text", [] { return one_text(""); }},
        {"one 30 MB text, an escape at its end", [] { return one_text("\\n"); }},
        // Answers as Azure sends them.
        {"cost by resource id, 5,000 rows", [] { return cost_by_resource_id(5000); }},
        {"cost by resource id, 50,000 rows", [] { return cost_by_resource_id(50000); }},
        {"metrics, 30 days at one a minute", [] { return metric_points(43200); }},
    };
    return all;
}

std::size_t status_kib(const char* field) {
    std::ifstream status("/proc/self/status");
    std::string line;
    const std::size_t length = std::strlen(field);
    while (std::getline(status, line)) {
        if (line.compare(0, length, field) == 0) {
            return std::stoul(line.substr(length));
        }
    }
    return 0;
}

struct measurement {
    std::size_t bytes = 0;
    std::size_t peak_added_kib = 0;
    double seconds = 0;
    std::array<char, 200> outcome{};
};

// Runs in the child: builds the text, then parses it as an answer's check does.
measurement measure(const answer_shape& shape, bool after_large_answer) {
    if (after_large_answer) {
        // As in a probe that has read a large answer before: glibc has raised its threshold for
        // giving large blocks mappings of their own, and serves blocks of up to 32 MiB from its
        // heap, where a block given back stays with the process.
        ::operator delete(::operator new (std::size_t{31} << 20U));
    }
    measurement result;
    const std::string text = shape.make();
    result.bytes = text.size();
    // Writing 5 resets VmHWM to the current resident set (Linux 4.0 and later).
    std::ofstream("/proc/self/clear_refs") << "5";
    const std::size_t before = status_kib("VmRSS:");
    const auto start = std::chrono::steady_clock::now();
    try {
        const auto parser = create_jsonpointer_parser(text);
        // A sensor reads a list as one parser per element: the most a read can add.
        try {
            const auto elements = parser->get_object_array("");
            std::snprintf(result.outcome.data(), result.outcome.size(), "read, %zu object parsers",
                          elements.size());
        } catch (const exceptions::exception&) {
            std::snprintf(result.outcome.data(), result.outcome.size(), "read");
        }
    } catch (const exceptions::exception& error) {
        std::snprintf(result.outcome.data(), result.outcome.size(), "%s",
                      error.full_message().c_str());
    }
    result.seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    const std::size_t peak = status_kib("VmHWM:");
    result.peak_added_kib = peak > before ? peak - before : 0;
    return result;
}

bool run_in_child(const answer_shape& shape, bool after_large_answer, measurement& result) {
    std::array<int, 2> channel{};
    if (pipe(channel.data()) != 0) {
        return false;
    }
    const pid_t child = fork();
    if (child == 0) {
        close(channel[0]);
        const measurement measured = measure(shape, after_large_answer);
        const bool written = write(channel[1], &measured, sizeof measured) == sizeof measured;
        _exit(written ? 0 : 1);
    }
    close(channel[1]);
    const bool read_all = child > 0 && read(channel[0], &result, sizeof result) == sizeof result;
    close(channel[0]);
    int status = 0;
    if (child > 0) {
        waitpid(child, &status, 0);
    }
    return read_all && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

}  // namespace

int main() {
    std::printf(
        "| Answer | Bytes | Peak added, fresh process | after a large answer | Time | Outcome "
        "|\n|---|---|---|---|---|---|\n");
    bool all_measured = true;
    for (const auto& shape : shapes()) {
        measurement fresh;
        measurement later;
        if (!run_in_child(shape, false, fresh) || !run_in_child(shape, true, later)) {
            std::printf("| %s | | | | | the child process failed |\n", shape.name);
            all_measured = false;
            continue;
        }
        std::printf("| %s | %.1f MB | %.0f MB | %.0f MB | %.2f s | %.90s |\n", shape.name,
                    static_cast<double>(fresh.bytes) / 1e6,
                    static_cast<double>(fresh.peak_added_kib) * 1024.0 / 1e6,
                    static_cast<double>(later.peak_added_kib) * 1024.0 / 1e6, fresh.seconds,
                    fresh.outcome.data());
        std::fflush(stdout);
    }
    return all_measured ? 0 : 1;
}
