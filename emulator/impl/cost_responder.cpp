#include "emulator/impl/cost_responder.hpp"

#include "emulator/impl/cost_query_reader.hpp"
#include "emulator/impl/resource_answers.hpp"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <optional>

namespace zentrova::monitoring_modules::emulator::impl {
namespace {

using jsoncons::ojson;

ojson object() {
    return json_object();
}
ojson array() {
    return json_array();
}

ojson column(const std::string& name, const char* type) {
    ojson c = object();
    c["name"] = name;
    c["type"] = type;
    return c;
}

// A cost cell as Cost Management writes numbers: the shortest text that reads back as the same
// double, in exponent form ("1.5E-05") below 1E-04 and from 1E+15 on.
ojson cost_cell(double value) {
    std::array<char, 40> text{};
    int digits = 1;
    for (; digits < 17; ++digits) {
        std::snprintf(text.data(), text.size(), "%.*e", digits - 1, value);
        if (std::strtod(text.data(), nullptr) == value) {
            break;
        }
    }
    std::snprintf(text.data(), text.size(), "%.*e", digits - 1, value);
    char* e = std::strchr(text.data(), 'e');
    const int exponent = value == 0 ? 0 : std::atoi(e + 1);
    if (exponent < -4 || exponent >= 15) {
        *e = 'E';
    } else {
        std::snprintf(text.data(), text.size(), "%.*f", std::max(0, digits - 1 - exponent), value);
    }
    return {std::string(text.data()), jsoncons::semantic_tag::bigdec};
}

// One page of rows (the scenario's page size) and the link to the rest.
http_answer query_answer(const arm_request& r, ojson columns, const ojson& rows) {
    const list_page page = page_of(r, rows.size(), r.world.page_size);
    if (page.rejection) {
        return *page.rejection;
    }
    const std::string id = random_guid();
    ojson properties = object();
    properties["nextLink"] = page.next_link.empty() ? ojson::null() : ojson(page.next_link);
    properties["columns"] = std::move(columns);
    ojson shown = array();
    for (std::size_t i = page.first; i < page.end; ++i) {
        shown.push_back(rows[i]);
    }
    properties["rows"] = std::move(shown);
    ojson body = object();
    body["id"] = "subscriptions/" + r.sub.id + "/providers/Microsoft.CostManagement/query/" + id;
    body["name"] = id;
    body["type"] = "microsoft.costmanagement/Query";
    body["properties"] = std::move(properties);
    return json_answer(body);
}

// Name of the billing period a day belongs to; the newest period when none holds it.
std::string period_of(const subscription& sub, const std::string& date) {
    for (const auto& p : sub.billing_periods) {
        if (p.start_date <= date.substr(0, 10) && date.substr(0, 10) <= p.end_date) {
            return p.name;
        }
    }
    return sub.billing_periods.empty() ? std::string() : sub.billing_periods.front().name;
}

std::int64_t usage_date(const std::string& date) {
    std::string digits;
    for (char c : date.substr(0, 10)) {
        if (std::isdigit(static_cast<unsigned char>(c)) != 0) {
            digits.push_back(c);
        }
    }
    return std::stoll(digits);
}

// Days since 1970-01-01 of a YYYY-MM-DD date.
std::int64_t day_number(const std::string& date) {
    std::tm day{};
    day.tm_year = std::atoi(date.substr(0, 4).c_str()) - 1900;
    day.tm_mon = std::atoi(date.substr(5, 2).c_str()) - 1;
    day.tm_mday = std::atoi(date.substr(8, 2).c_str());
    return static_cast<std::int64_t>(timegm(&day)) / 86400;
}

}  // namespace

int cost_responder::months_queried(const incoming_request& request) {
    std::string problem;
    const std::optional<ojson> root = cost_query_reader::parse_body(request.body, problem);
    const ojson* period = root ? cost_query_reader::member(&*root, "timePeriod") : nullptr;
    const std::string from = cost_query_reader::text(cost_query_reader::member(period, "from"));
    const std::string to = cost_query_reader::text(cost_query_reader::member(period, "to"));
    if (!looks_like_date(from) || !looks_like_date(to)) {
        return 1;
    }
    const std::int64_t days = day_number(to) - day_number(from) + 1;
    return static_cast<int>(std::max<std::int64_t>(1, (days + 30) / 31));
}

http_answer cost_responder::respond(const arm_request& r) {
    switch (r.route.id) {
        case route_id::billing_periods:
            return billing_periods(r);
        case route_id::cost_query:
            return query(r);
        case route_id::forecast:
            return forecast(r);
        case route_id::budgets:
            return budgets(r);
        default:
            return arm_error(404, "NotFound", "The emulator has no cost route for this path.");
    }
}

http_answer cost_responder::billing_periods(const arm_request& r) {
    // $top is the page size: Billing pages a longer list with a nextLink.
    std::size_t top = r.world.page_size;
    if (r.request.has_param("$top")) {
        const std::string value = r.request.param("$top");
        if (value.empty() || value.size() > 6 ||
            !std::all_of(value.begin(), value.end(),
                         [](char c) { return std::isdigit(static_cast<unsigned char>(c)) != 0; }) ||
            std::stoul(value) == 0) {
            return arm_error(400, "BadRequest",
                             "$top must be a positive number, found '" + value + "'.");
        }
        top = std::stoul(value);
    }
    ojson items = array();
    for (const billing_period& p : r.sub.billing_periods) {
        ojson invoices = array();
        for (const auto& invoice : p.invoice_ids) {
            invoices.push_back(invoice);
        }
        ojson properties = object();
        properties["billingPeriodStartDate"] = p.start_date;
        properties["billingPeriodEndDate"] = p.end_date;
        properties["invoiceIds"] = std::move(invoices);
        ojson item = object();
        item["id"] =
            "/subscriptions/" + r.sub.id + "/providers/Microsoft.Billing/billingPeriods/" + p.name;
        item["name"] = p.name;
        item["type"] = r.world.billing_period_type;
        item["properties"] = std::move(properties);
        items.push_back(std::move(item));
    }
    return paged_answer(r, items, top);
}

http_answer cost_responder::query(const arm_request& r) {
    std::string problem;
    const std::optional<ojson> root = cost_query_reader::parse_body(r.request.body, problem);
    if (!root) {
        return cost_query_reader::bad_query(problem);
    }
    cost_query_reader::dataset_request asked = cost_query_reader::read_dataset(*root, "None", true);
    if (asked.rejection) {
        return *asked.rejection;
    }
    // Oldest first, as a cost report reads.
    std::vector<const billing_period*> periods;
    for (auto it = r.sub.billing_periods.rbegin(); it != r.sub.billing_periods.rend(); ++it) {
        if (it->start_date <= asked.to && it->end_date >= asked.from) {
            periods.push_back(&*it);
        }
    }
    ojson columns = array();
    columns.push_back(column(asked.cost_column, "Number"));
    if (!asked.dimension.empty()) {
        columns.push_back(column(asked.dimension, "String"));
    }
    columns.push_back(column("Currency", "String"));
    ojson rows = array();
    auto add_row = [&](double cost, const std::string* key) {
        ojson row = array();
        row.push_back(cost_cell(cost));
        if (key != nullptr) {
            row.push_back(*key);
        }
        row.push_back(r.sub.currency);
        rows.push_back(std::move(row));
    };
    if (asked.dimension.empty()) {
        if (!periods.empty()) {
            double total = 0;
            for (const auto* p : periods) {
                total += p->total_cost;
            }
            add_row(total, nullptr);
        }
    } else if (asked.dimension == "BillingPeriod") {
        for (const auto* p : periods) {
            add_row(p->total_cost, &p->name);
        }
    } else {
        std::vector<cost_entry> merged;
        for (const auto* p : periods) {
            const auto* entries = p->costs_by(asked.dimension);
            for (const auto& e : entries != nullptr ? *entries : std::vector<cost_entry>{}) {
                auto it = std::find_if(merged.begin(), merged.end(),
                                       [&](const cost_entry& m) { return m.key == e.key; });
                if (it == merged.end()) {
                    merged.push_back(e);
                } else {
                    it->cost += e.cost;
                }
            }
        }
        for (const auto& e : merged) {
            add_row(e.cost, &e.key);
        }
    }
    return query_answer(r, std::move(columns), rows);
}

http_answer cost_responder::forecast(const arm_request& r) {
    std::string problem;
    const std::optional<ojson> root = cost_query_reader::parse_body(r.request.body, problem);
    if (!root) {
        return cost_query_reader::bad_query(problem);
    }
    cost_query_reader::dataset_request asked =
        cost_query_reader::read_dataset(*root, "Daily", false);
    if (asked.rejection) {
        return *asked.rejection;
    }
    if (!asked.dimension.empty() && asked.dimension != "BillingPeriod") {
        return cost_query_reader::bad_query(
            "the emulator groups forecasts by BillingPeriod only, found '" + asked.dimension +
            "'.");
    }
    ojson columns = array();
    columns.push_back(column(asked.cost_column, "Number"));
    if (!asked.dimension.empty()) {
        columns.push_back(column(asked.dimension, "String"));
    }
    columns.push_back(column("UsageDate", "Number"));
    columns.push_back(column("CostStatus", "String"));
    columns.push_back(column("Currency", "String"));
    ojson rows = array();
    for (const auto& f : r.sub.forecast) {
        if (!asked.from.empty() && (f.date < asked.from || f.date > asked.to)) {
            continue;
        }
        ojson row = array();
        row.push_back(cost_cell(f.cost));
        if (!asked.dimension.empty()) {
            row.push_back(period_of(r.sub, f.date));
        }
        row.push_back(usage_date(f.date));
        row.push_back(f.status);
        row.push_back(f.currency);
        rows.push_back(std::move(row));
    }
    return query_answer(r, std::move(columns), rows);
}

http_answer cost_responder::budgets(const arm_request& r) {
    ojson items = array();
    for (const auto& b : r.sub.budgets) {
        ojson period = object();
        period["startDate"] = b.start_date;
        period["endDate"] = b.end_date;
        ojson spend = object();
        spend["amount"] = b.current_spend;
        spend["unit"] = b.currency;
        ojson roles = array();
        roles.push_back("Owner");
        ojson notification = object();
        notification["enabled"] = true;
        notification["operator"] = "GreaterThan";
        notification["threshold"] = 80;
        notification["contactEmails"] = array();
        notification["contactRoles"] = std::move(roles);
        notification["thresholdType"] = "Actual";
        ojson notifications = object();
        notifications["Actual_GreaterThan_80_Percent"] = std::move(notification);
        ojson properties = object();
        properties["category"] = b.category;
        properties["amount"] = b.amount;
        properties["timeGrain"] = b.time_grain;
        properties["timePeriod"] = std::move(period);
        properties["currentSpend"] = std::move(spend);
        properties["notifications"] = std::move(notifications);
        const std::string etag = stable_guid("budget:" + b.name).substr(0, 8);
        ojson item = object();
        // Consumption writes budget ids without the leading "/"; the subscription's list holds
        // its resource groups' budgets too, whose names may repeat the subscription's.
        item["id"] = "subscriptions/" + r.sub.id +
                     (b.resource_group.empty() ? "" : "/resourceGroups/" + b.resource_group) +
                     "/providers/Microsoft.Consumption/budgets/" + b.name;
        item["name"] = b.name;
        item["type"] = "Microsoft.Consumption/budgets";
        item["eTag"] = "\"1d" + etag + "\"";
        item["properties"] = std::move(properties);
        items.push_back(std::move(item));
    }
    return paged_answer(r, items);
}

}  // namespace zentrova::monitoring_modules::emulator::impl
