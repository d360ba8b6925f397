// What the JSON query layer costs over jsoncons itself, on a cost-query body of 50,000 rows
// (about 5 MB): the same parse and the same walk over every row's cells, once directly and
// once through parser_interface in each reading style the sensors use.

#include <benchmark/benchmark.h>

#include <jsoncons/json.hpp>

#include <array>
#include <cstdio>
#include <random>
#include <string>

#include "json/parser_factory.hpp"

namespace {

using zentrova::monitoring_modules::json::create_jsonpointer_parser;

constexpr std::size_t row_count = 50000;

// Laid out like a cost query response: three columns, rows of cost, resource group, currency.
std::string make_cost_query_body() {
    std::mt19937_64 random(7441);
    std::uniform_real_distribution<double> cost(0.0, 500.0);
    std::string body = R"({
  "id": "subscriptions/00000000-0000-0000-0000-000000000000/providers/Microsoft.CostManagement/Query/00000000-0000-0000-0000-000000000000",
  "name": "55312978-ba1b-415c-9304-cfd9c43c0481",
  "type": "microsoft.costmanagement/Query",
  "properties": {
    "nextLink": null,
    "columns": [
      {"name": "PreTaxCost", "type": "Number"},
      {"name": "ResourceGroup", "type": "String"},
      {"name": "Currency", "type": "String"}
    ],
    "rows": [
)";
    std::array<char, 32> cell{};
    for (std::size_t row = 0; row < row_count; ++row) {
        std::snprintf(cell.data(), cell.size(), "%.17g", cost(random));
        body += "      [\n        ";
        body += cell.data();
        body += ",\n        \"Ict_StratAndPlan_GoldSprova_Prod_" + std::to_string(row) +
                "\",\n        \"USD\"\n      ]";
        body += row + 1 < row_count ? ",\n" : "\n";
    }
    body += "    ]\n  }\n}\n";
    return body;
}

const std::string& body() {
    static const std::string text = make_cost_query_body();
    return text;
}

void set_counters(benchmark::State& state) {
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * body().size()));
    state.counters["cells"] = static_cast<double>(row_count * 3);
}

// Baseline: parse, then read every cell as the sensor wants it (a double and two strings).
void plain_jsoncons_parse_and_walk(benchmark::State& state) {
    for (auto _ : state) {
        const jsoncons::json document = jsoncons::json::parse(body());
        const jsoncons::json& rows = document.at("properties").at("rows");
        double total = 0;
        std::size_t text = 0;
        for (const jsoncons::json& row : rows.array_range()) {
            total += row[0].as<double>();
            text += row[1].as<std::string>().size() + row[2].as<std::string>().size();
        }
        benchmark::DoNotOptimize(total);
        benchmark::DoNotOptimize(text);
    }
    set_counters(state);
}
BENCHMARK(plain_jsoncons_parse_and_walk)->Unit(benchmark::kMillisecond);

void plain_jsoncons_parse_only(benchmark::State& state) {
    for (auto _ : state) {
        benchmark::DoNotOptimize(jsoncons::json::parse(body()));
    }
    set_counters(state);
}
BENCHMARK(plain_jsoncons_parse_only)->Unit(benchmark::kMillisecond);

void layer_parse_only(benchmark::State& state) {
    for (auto _ : state) {
        benchmark::DoNotOptimize(create_jsonpointer_parser(body()));
    }
    set_counters(state);
}
BENCHMARK(layer_parse_only)->Unit(benchmark::kMillisecond);

// Every cell by a full pointer from the root: "/properties/rows/17/0".
void layer_parse_and_root_walk(benchmark::State& state) {
    for (auto _ : state) {
        const auto parser = create_jsonpointer_parser(body());
        double total = 0;
        std::size_t text = 0;
        for (std::size_t row = 0; row < row_count; ++row) {
            const std::string prefix = "/properties/rows/" + std::to_string(row) + "/";
            total += parser->get_double(prefix + "0");
            text +=
                parser->get_string(prefix + "1").size() + parser->get_string(prefix + "2").size();
        }
        benchmark::DoNotOptimize(total);
        benchmark::DoNotOptimize(text);
    }
    set_counters(state);
}
BENCHMARK(layer_parse_and_root_walk)->Unit(benchmark::kMillisecond);

// The same cells through a sub-parser cut at "/properties": "/rows/17/0".
void layer_parse_and_sub_parser_walk(benchmark::State& state) {
    for (auto _ : state) {
        const auto parser = create_jsonpointer_parser(body());
        const auto properties = parser->get_object("/properties");
        double total = 0;
        std::size_t text = 0;
        for (std::size_t row = 0; row < row_count; ++row) {
            const std::string prefix = "/rows/" + std::to_string(row) + "/";
            total += properties->get_double(prefix + "0");
            text += properties->get_string(prefix + "1").size() +
                    properties->get_string(prefix + "2").size();
        }
        benchmark::DoNotOptimize(total);
        benchmark::DoNotOptimize(text);
    }
    set_counters(state);
}
BENCHMARK(layer_parse_and_sub_parser_walk)->Unit(benchmark::kMillisecond);

// What a sub-parser would cost if it printed its object and parsed the text again.
void plain_jsoncons_reparse_of_properties(benchmark::State& state) {
    const jsoncons::json document = jsoncons::json::parse(body());
    for (auto _ : state) {
        benchmark::DoNotOptimize(jsoncons::json::parse(document.at("properties").to_string()));
    }
    set_counters(state);
}
BENCHMARK(plain_jsoncons_reparse_of_properties)->Unit(benchmark::kMillisecond);

// Column lookup as a cost sensor does it: parse, then one sub-parser per column.
void layer_parse_and_columns(benchmark::State& state) {
    for (auto _ : state) {
        const auto parser = create_jsonpointer_parser(body());
        std::size_t text = 0;
        for (const auto& column : parser->get_object_array("/properties/columns")) {
            text += column->get_string("/name").size();
        }
        benchmark::DoNotOptimize(text);
    }
    set_counters(state);
}
BENCHMARK(layer_parse_and_columns)->Unit(benchmark::kMillisecond);

// The column lookup alone, on a body parsed once.
void layer_columns_only(benchmark::State& state) {
    const auto parser = create_jsonpointer_parser(body());
    for (auto _ : state) {
        std::size_t text = 0;
        for (const auto& column : parser->get_object_array("/properties/columns")) {
            text += column->get_string("/name").size();
        }
        benchmark::DoNotOptimize(text);
    }
}
BENCHMARK(layer_columns_only)->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
