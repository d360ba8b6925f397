// What Resource Manager checks before any route answers: paths, API versions and paging. The
// routes' answers themselves are checked through the module, by the sensors' own suites.

#include <gtest/gtest.h>

#include <jsoncons/json.hpp>

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
};

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
