// One request per Resource Manager route against the bundled scenario, checking the fields
// the module reads.

#include <gtest/gtest.h>

#include <jsoncons/json.hpp>
#include <map>

#include "emulator/azure_emulator.hpp"
#include "tests/emulator/https_client.hpp"

namespace zentrova::monitoring_modules::emulator::testing {
namespace {

using jsoncons::json;

class routes_test : public ::testing::Test {
protected:
    const std::string sub_path = "subscriptions/" + subscription_id;
    azure_emulator emu;
    https_client client{emu.ca_file()};
    header_list auth{{"Authorization", "Bearer " + fetch_token(client, emu)}};

    // The module joins its endpoint root and a resource id that starts with "/".
    json get(const std::string& path, long status = 200) {
        const http_result r = client.get(emu.base_url() + path, auth);
        EXPECT_EQ(r.status, status) << path << "\n" << r.body;
        EXPECT_EQ(r.header("Content-Type"), "application/json; charset=utf-8");
        EXPECT_FALSE(r.header("x-ms-request-id").empty());
        EXPECT_FALSE(r.header("x-ms-correlation-request-id").empty());
        return json::parse(r.body);
    }
    json post(const std::string& path, const std::string& body) {
        const http_result r = client.post(emu.base_url() + path, body, "application/json", auth);
        EXPECT_EQ(r.status, 200) << path << "\n" << r.body;
        return json::parse(r.body);
    }
    // Last data point's average per metric name, as the virtual machine sensor reads them.
    static std::map<std::string, json> last_points(const json& metrics) {
        std::map<std::string, json> out;
        for (const auto& m : metrics["value"].array_range()) {
            EXPECT_EQ(m["errorCode"].as<std::string>(), "Success");
            out[m["name"]["value"].as<std::string>()] =
                m["timeseries"][0]["data"][m["timeseries"][0]["data"].size() - 1];
        }
        return out;
    }
};

constexpr const char* vm_metric_query =
    "/providers/microsoft.insights/metrics?api-version=2018-01-01&metricnames=Percentage%20CPU,"
    "CPU%20Credits%20Remaining,CPU%20Credits%20Consumed&interval=PT1M&aggregation=average&"
    "timespan=PT1M";

std::string vm_id(const std::string& group, const std::string& name) {
    return "/subscriptions/" + subscription_id + "/resourceGroups/" + group +
           "/providers/Microsoft.Compute/virtualMachines/" + name;
}

TEST_F(routes_test, virtual_machines_list_with_os_size_region_and_power_state) {
    const json list =
        get("/" + sub_path + "/providers/Microsoft.Compute/virtualMachines?api-version=2019-12-01");
    ASSERT_EQ(list["value"].size(), 4u);
    EXPECT_FALSE(list.contains("nextLink"));
    const json& burst = list["value"][0];
    EXPECT_EQ(burst["name"].as<std::string>(), "vm-web-burst-01");
    EXPECT_EQ(burst["id"].as<std::string>(), vm_id("rg-web", "vm-web-burst-01"));
    EXPECT_EQ(burst["location"].as<std::string>(), "westeurope");
    EXPECT_EQ(burst["properties"]["storageProfile"]["osDisk"]["osType"].as<std::string>(), "Linux");
    EXPECT_EQ(burst["properties"]["hardwareProfile"]["vmSize"].as<std::string>(), "Standard_B2s");
    EXPECT_EQ(list["value"][3]["id"].as<std::string>(), vm_id("rg-ops", "vm-ops-01"));

    const json regions = get(sub_path + "/locations?api-version=2020-01-01");
    std::map<std::string, std::string> names;
    for (const auto& r : regions["value"].array_range()) {
        names[r["name"].as<std::string>()] = r["displayName"].as<std::string>();
    }
    EXPECT_EQ(names["westeurope"], "West Europe");
    EXPECT_EQ(names["eastus"], "East US");

    const std::map<std::string, std::string> power{{"vm-web-burst-01", "PowerState/running"},
                                                   {"vm-batch-01", "PowerState/deallocated"}};
    for (const auto& [vm, code] : power) {
        const json view = get(vm_id("rg-web", vm) + "/instanceView?api-version=2020-06-01");
        EXPECT_EQ(view["statuses"][0]["code"].as<std::string>(), "ProvisioningState/succeeded");
        EXPECT_EQ(view["statuses"][1]["code"].as<std::string>(), code);
    }
}

TEST_F(routes_test, vm_metrics_answer_what_each_machine_has) {
    auto burst = last_points(get(vm_id("rg-web", "vm-web-burst-01") + vm_metric_query));
    ASSERT_EQ(burst.size(), 3u);
    EXPECT_DOUBLE_EQ(burst["Percentage CPU"]["average"].as<double>(), 18.75);  // newest of three
    EXPECT_DOUBLE_EQ(burst["CPU Credits Remaining"]["average"].as<double>(), 288.4);
    EXPECT_DOUBLE_EQ(burst["CPU Credits Consumed"]["average"].as<double>(), 0.62);

    // Not burstable: no credit metrics at all. Deallocated: a minute without an average.
    auto plain = last_points(get(vm_id("rg-web", "vm-app-01") + vm_metric_query));
    EXPECT_EQ(plain.size(), 1u);
    EXPECT_DOUBLE_EQ(plain["Percentage CPU"]["average"].as<double>(), 41.3);
    auto idle = last_points(get(vm_id("rg-web", "vm-batch-01") + vm_metric_query));
    EXPECT_TRUE(idle["Percentage CPU"].contains("timeStamp"));
    EXPECT_FALSE(idle["Percentage CPU"].contains("average"));

    const json missing = get(vm_id("rg-web", "vm-nowhere") + vm_metric_query, 404);
    EXPECT_EQ(missing["error"]["code"].as<std::string>(), "ResourceNotFound");
    const json no_group = get(vm_id("rg-gone", "vm-app-01") + vm_metric_query, 404);
    EXPECT_EQ(no_group["error"]["code"].as<std::string>(), "ResourceGroupNotFound");
}

TEST_F(routes_test, sql_servers_databases_and_metrics_by_kind) {
    const json servers = get(sub_path + "/providers/Microsoft.Sql/servers?api-version=2014-04-01");
    ASSERT_EQ(servers["value"].size(), 3u);
    std::map<std::string, std::pair<std::string, std::string>> kinds;  // name -> kind, pool id
    for (const auto& server : servers["value"].array_range()) {
        const json dbs =
            get(server["id"].as<std::string>() + "/databases?api-version=2020-02-02-preview");
        EXPECT_EQ(dbs["value"][0]["name"].as<std::string>(), "master");
        for (const auto& db : dbs["value"].array_range()) {
            kinds[db["name"].as<std::string>()] = {
                db["kind"].as<std::string>(),
                db["properties"].get_value_or<std::string>("elasticPoolId", "")};
        }
    }
    EXPECT_EQ(kinds["master"].first, "v12.0,system");
    EXPECT_EQ(kinds["db-orders"].first, "v12.0,user,pool");
    EXPECT_EQ(kinds["db-customers"].second, kinds["db-orders"].second);
    EXPECT_EQ(kinds["db-analytics"].first, "v12.0,user,vcore,pool");
    EXPECT_EQ(kinds["db-reporting"],
              std::make_pair(std::string("v12.0,user,vcore"), std::string()));
    EXPECT_EQ(kinds["db-legacy"].first, "v12.0,user");

    // The SQL sensor sends no aggregation and reads the first data point of each metric.
    const std::string pool_metrics =
        kinds["db-orders"].second +
        "/providers/microsoft.insights/metrics?api-version=2018-01-01&metricnames=cpu_percent,"
        "log_write_percent,physical_data_read_percent,storage_used,storage_percent,"
        "sessions_percent,eDTU_limit,eDTU_used,dtu_consumption_percent&interval=PT1M&"
        "timespan=PT1M";
    const json pool = get(pool_metrics);
    ASSERT_EQ(pool["value"].size(), 9u);
    EXPECT_EQ(pool["value"][7]["name"]["value"].as<std::string>(), "eDTU_used");
    EXPECT_DOUBLE_EQ(pool["value"][7]["timeseries"][0]["data"][0]["average"].as<double>(), 22.5);
    EXPECT_EQ(pool["namespace"].as<std::string>(), "Microsoft.Sql/servers/elasticPools");

    const std::string legacy = "/" + sub_path +
                               "/resourceGroups/rg-data/providers/Microsoft.Sql/servers/"
                               "sql-emulator-single/databases/db-legacy";
    const json single = get(legacy +
                            "/providers/microsoft.insights/metrics?api-version=2018-01-01"
                            "&metricnames=cpu_percent,deadlock,dtu_used&interval=PT1M&"
                            "timespan=PT1M");
    ASSERT_EQ(single["value"].size(), 3u);
    EXPECT_DOUBLE_EQ(single["value"][1]["timeseries"][0]["data"][0]["average"].as<double>(), 1);
}

TEST_F(routes_test, billing_periods_newest_first_and_limited_by_top) {
    const std::string path =
        sub_path + "/providers/Microsoft.Billing/billingPeriods?api-version=2017-04-24-preview";
    const json two = get(path + "&$top=2");
    ASSERT_EQ(two["value"].size(), 2u);
    EXPECT_EQ(two["value"][0]["name"].as<std::string>(), "202411-1");
    EXPECT_EQ(two["value"][0]["properties"]["billingPeriodStartDate"].as<std::string>(),
              "2024-10-15");
    EXPECT_EQ(two["value"][1]["properties"]["billingPeriodEndDate"].as<std::string>(),
              "2024-10-14");
    EXPECT_EQ(get(path + "&$top=1")["value"].size(), 1u);
}

std::string cost_query(const std::string& from, const std::string& to,
                       const std::string& dimension) {
    return R"({
    "type": "ActualCost",
    "timeframe": "Custom",
    "timeperiod": {
        "from": ")" +
           from + R"(",
        "to": ")" +
           to + R"("
    },
    "dataset": {
        "granularity": "None",
        "aggregation": {
            "totalCost": {
                "name": "PreTaxCost",
                "function": "Sum"
            }
        },
        "grouping": [
            {
                "type": "Dimension",
                "name": ")" +
           dimension + R"("
            }
        ]
    }
})";
}

TEST_F(routes_test, cost_query_groups_the_periods_costs_by_each_dimension) {
    const std::string path =
        sub_path + "/providers/Microsoft.CostManagement/query?api-version=2019-11-01";
    struct expectation {
        const char* dimension;
        std::size_t rows;
        const char* top_key;  // the most expensive group of the current period
        double top_cost;
    };
    for (const auto& e :
         {expectation{"ResourceGroupName", 3, "rg-web", 456.30},
          expectation{"ResourceType", 4, "microsoft.compute/virtualmachines", 512.40},
          expectation{"ResourceId", 7, nullptr, 283.40},
          expectation{"ResourceLocation", 3, "westeurope", 701.35},
          expectation{"ServiceName", 4, "Virtual Machines", 512.40},
          expectation{"BillingPeriod", 1, "202411-1", 987.65}}) {
        SCOPED_TRACE(e.dimension);
        const json answer = post(path, cost_query("2024-10-15", "2024-11-14", e.dimension));
        const json& columns = answer["properties"]["columns"];
        ASSERT_EQ(columns.size(), 3u);
        EXPECT_EQ(columns[0]["name"].as<std::string>(), "PreTaxCost");
        EXPECT_EQ(columns[0]["type"].as<std::string>(), "Number");
        EXPECT_EQ(columns[1]["name"].as<std::string>(), e.dimension);
        EXPECT_EQ(columns[2]["name"].as<std::string>(), "Currency");
        const json& rows = answer["properties"]["rows"];
        ASSERT_EQ(rows.size(), e.rows);
        double top = -1;
        std::string top_key;
        for (const auto& row : rows.array_range()) {
            EXPECT_EQ(row[2].as<std::string>(), "EUR");
            if (row[0].as<double>() > top) {
                top = row[0].as<double>();
                top_key = row[1].as<std::string>();
            }
        }
        EXPECT_DOUBLE_EQ(top, e.top_cost);
        if (e.top_key != nullptr) {
            EXPECT_EQ(top_key, e.top_key);
        }
    }
    // Both periods, oldest first, keyed by name.
    const json both = post(path, cost_query("2024-09-15", "2024-11-14", "BillingPeriod"));
    ASSERT_EQ(both["properties"]["rows"].size(), 2u);
    EXPECT_EQ(both["properties"]["rows"][0][1].as<std::string>(), "202410-1");
    EXPECT_DOUBLE_EQ(both["properties"]["rows"][0][0].as<double>(), 1234.56);

    const http_result bad =
        client.post(emu.base_url() + path, cost_query("2024-10-15", "2024-11-14", "Colour"),
                    "application/json", auth);
    EXPECT_EQ(bad.status, 400);
    EXPECT_NE(bad.body.find("Colour"), std::string::npos);
}

TEST_F(routes_test, forecast_rows_are_daily_and_budgets_carry_spend) {
    const json forecast =
        post(sub_path + "/providers/Microsoft.CostManagement/forecast?api-version=2019-11-01", R"({
    "type": "ActualCost",
    "dataSet": {
        "granularity": "Daily",
        "aggregation": {"totalCost": {"name": "Cost", "function": "Sum"}},
        "grouping": [{"type": "Dimension", "name": "BillingPeriod"}]
    },
    "includeActualCost": false,
    "includeFreshPartialCost": false
})");
    std::vector<std::string> columns;
    for (const auto& c : forecast["properties"]["columns"].array_range()) {
        columns.push_back(c["name"].as<std::string>());
    }
    EXPECT_EQ(columns, (std::vector<std::string>{"Cost", "BillingPeriod", "UsageDate", "CostStatus",
                                                 "Currency"}));
    const json& rows = forecast["properties"]["rows"];
    ASSERT_EQ(rows.size(), 8u);
    EXPECT_EQ(rows[0][3].as<std::string>(), "Actual");
    EXPECT_EQ(rows[1][2].as<long long>(), 20241108);
    EXPECT_EQ(rows[1][3].as<std::string>(), "Forecast");
    EXPECT_EQ(rows[1][1].as<std::string>(), "202411-1");

    const json budgets =
        get(sub_path + "/providers/Microsoft.Consumption/budgets?api-version=2019-10-01");
    ASSERT_EQ(budgets["value"].size(), 2u);
    const json& web = budgets["value"][1];
    EXPECT_EQ(web["name"].as<std::string>(), "web-team");
    EXPECT_DOUBLE_EQ(web["properties"]["amount"].as<double>(), 400);
    EXPECT_DOUBLE_EQ(web["properties"]["currentSpend"]["amount"].as<double>(), 456.30);
    EXPECT_EQ(web["properties"]["currentSpend"]["unit"].as<std::string>(), "EUR");
}

TEST_F(routes_test, paths_and_versions_are_checked_as_resource_manager_does) {
    const std::string list = "providers/Microsoft.Compute/virtualMachines";
    // Runs of slashes count as one; literal segments ignore case.
    EXPECT_EQ(get("//" + sub_path +
                  "//PROVIDERS/microsoft.compute/VirtualMachines?api-version=2019-12-01")["value"]
                  .size(),
              4u);
    EXPECT_EQ(get(sub_path + "/" + list + "?api-version=2023-03-01", 400)["error"]["code"]
                  .as<std::string>(),
              "InvalidApiVersionParameter");
    EXPECT_EQ(get(sub_path + "/" + list, 400)["error"]["code"].as<std::string>(),
              "MissingApiVersionParameter");
    EXPECT_EQ(get(sub_path + "/providers/Microsoft.Web/sites?api-version=1", 404)["error"]["code"]
                  .as<std::string>(),
              "NotFound");

    // Paging: beyond page_size a nextLink leads on to the rest.
    emu.replace_scenario(R"({"page_size": 3, "tenants": [{"id": ")" + tenant_id +
                         R"(", "applications": [{"client_id": ")" + client_id +
                         R"(", "client_secret": "x"}]}], "subscriptions": [{"id": ")" +
                         subscription_id + R"(", "virtual_machines": [
        {"name": "a", "resource_group": "g"}, {"name": "b", "resource_group": "g"},
        {"name": "c", "resource_group": "g"}, {"name": "d", "resource_group": "g"}]}]})");
    const json first = get(sub_path + "/" + list + "?api-version=2019-12-01");
    ASSERT_EQ(first["value"].size(), 3u);
    const std::string next = first["nextLink"].as<std::string>();
    ASSERT_EQ(next.rfind(emu.base_url(), 0), 0u) << next;
    const json rest = get(next.substr(emu.base_url().size()));
    ASSERT_EQ(rest["value"].size(), 1u);
    EXPECT_EQ(rest["value"][0]["name"].as<std::string>(), "d");
    EXPECT_FALSE(rest.contains("nextLink"));
}

}  // namespace
}  // namespace zentrova::monitoring_modules::emulator::testing
