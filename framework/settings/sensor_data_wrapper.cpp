#include "framework/settings/sensor_data_wrapper.hpp"

#include <array>
#include <charconv>
#include <jsoncons/json_reader.hpp>
#include <jsoncons/json_visitor.hpp>
#include <optional>
#include <string_view>
#include <vector>

#include "framework/messaging/impl/json_writer.hpp"
#include "framework/settings/impl/plain_buffer_scanner.hpp"
#include "framework/utils/exceptions.hpp"

namespace zentrova::monitoring_modules::framework::settings {
namespace {

using utils::exceptions::invalid_settings_buffer;
using utils::exceptions::setting_not_available;

// The members the wrapper reads, in the order their problems are reported.
constexpr std::size_t kind_member = 0;
constexpr std::size_t member_count = 5;
constexpr std::size_t no_member = member_count;
constexpr std::array<const char*, member_count> member_names{"kind", "settings", "secure_settings",
                                                             "channels", "persistent_data"};

// Where the texts of one member go: into its map, or, when the reader reads the wrapper's own
// copy of the buffer (whose texts stay where they are), as places in that copy.
struct text_sink {
    std::map<std::string, std::string>* map = nullptr;
    std::vector<sensor_data_wrapper::text_place>* places = nullptr;
    const char* text = nullptr;  // the copy the places count from

    void add(const std::string& name, std::string_view name_in_text, std::string_view value) {
        if (places != nullptr) {
            places->push_back({static_cast<std::uint32_t>(name_in_text.data() - text),
                               static_cast<std::uint32_t>(name_in_text.size()),
                               static_cast<std::uint32_t>(value.data() - text),
                               static_cast<std::uint32_t>(value.size())});
        } else {
            map->emplace(name, std::string(value));
        }
    }
};

// Reads the buffer as the parser walks it, straight into the wrapper's maps: the host sends it
// with every call, and a document tree of it would cost more than the reading. The first
// problem of each member is kept and reported once the whole text has proved to be JSON, so
// that a broken text is always reported as such. A member that appears twice counts once.
class buffer_reader final : public jsoncons::basic_json_visitor<char> {
public:
    // `texts` receives the objects of texts, by member; its entry for "kind" is unused.
    buffer_reader(std::string& kind, std::array<text_sink, member_count> texts)
        : kind_(kind), texts_(texts) {}

    // Throws invalid_settings_buffer for the first problem, in member order.
    void report() const {
        if (!root_is_object_) {
            throw invalid_settings_buffer(R"(it must be a JSON object with "kind" and "settings")");
        }
        for (const auto& problem : problems_) {
            if (!problem.empty()) {
                throw invalid_settings_buffer(problem);
            }
        }
    }

private:
    using context = jsoncons::ser_context;

    void visit_flush() override {}

    JSONCONS_VISITOR_RETURN_TYPE visit_begin_object(jsoncons::semantic_tag, const context&,
                                                    std::error_code&) override {
        begin_container(true);
        JSONCONS_VISITOR_RETURN;
    }
    JSONCONS_VISITOR_RETURN_TYPE visit_begin_array(jsoncons::semantic_tag, const context&,
                                                   std::error_code&) override {
        begin_container(false);
        JSONCONS_VISITOR_RETURN;
    }
    JSONCONS_VISITOR_RETURN_TYPE visit_end_object(const context&, std::error_code&) override {
        end_container();
        JSONCONS_VISITOR_RETURN;
    }
    JSONCONS_VISITOR_RETURN_TYPE visit_end_array(const context&, std::error_code&) override {
        end_container();
        JSONCONS_VISITOR_RETURN;
    }

    JSONCONS_VISITOR_RETURN_TYPE visit_key(const string_view_type& name, const context&,
                                           std::error_code&) override {
        if (skip_from_ == 0 && depth_ == 1) {
            member_ = no_member;
            for (std::size_t i = 0; i < member_count; ++i) {
                if (name == member_names[i]) {
                    member_ = i;
                }
            }
        } else if (skip_from_ == 0 && reading_) {
            key_.assign(name.data(), name.size());
            key_in_text_ = name;
        }
        JSONCONS_VISITOR_RETURN;
    }

    JSONCONS_VISITOR_RETURN_TYPE visit_string(const string_view_type& value, jsoncons::semantic_tag,
                                              const context&, std::error_code&) override {
        if (skip_from_ == 0 && depth_ == 1 && member_ == kind_member) {
            if (!seen_[kind_member]) {
                kind_.assign(value.data(), value.size());
                seen_[kind_member] = true;
            }
        } else if (skip_from_ == 0 && reading_) {
            texts_[member_].add(key_, key_in_text_, value);
        } else {
            not_a_text();
        }
        JSONCONS_VISITOR_RETURN;
    }

    JSONCONS_VISITOR_RETURN_TYPE visit_null(jsoncons::semantic_tag, const context&,
                                            std::error_code&) override {
        if (skip_from_ == 0 && depth_ == 1 && member_ != no_member) {
            seen_[member_] = true;  // a null member means empty
        } else {
            not_a_text();
        }
        JSONCONS_VISITOR_RETURN;
    }
    JSONCONS_VISITOR_RETURN_TYPE visit_bool(bool, jsoncons::semantic_tag, const context&,
                                            std::error_code&) override {
        not_a_text();
        JSONCONS_VISITOR_RETURN;
    }
    JSONCONS_VISITOR_RETURN_TYPE visit_byte_string(const jsoncons::byte_string_view&,
                                                   jsoncons::semantic_tag, const context&,
                                                   std::error_code&) override {
        not_a_text();
        JSONCONS_VISITOR_RETURN;
    }
    JSONCONS_VISITOR_RETURN_TYPE visit_byte_string(const jsoncons::byte_string_view&, std::uint64_t,
                                                   const context&, std::error_code&) override {
        not_a_text();
        JSONCONS_VISITOR_RETURN;
    }
    JSONCONS_VISITOR_RETURN_TYPE visit_uint64(std::uint64_t, jsoncons::semantic_tag, const context&,
                                              std::error_code&) override {
        not_a_text();
        JSONCONS_VISITOR_RETURN;
    }
    JSONCONS_VISITOR_RETURN_TYPE visit_int64(std::int64_t, jsoncons::semantic_tag, const context&,
                                             std::error_code&) override {
        not_a_text();
        JSONCONS_VISITOR_RETURN;
    }
    JSONCONS_VISITOR_RETURN_TYPE visit_half(std::uint16_t, jsoncons::semantic_tag, const context&,
                                            std::error_code&) override {
        not_a_text();
        JSONCONS_VISITOR_RETURN;
    }
    JSONCONS_VISITOR_RETURN_TYPE visit_double(double, jsoncons::semantic_tag, const context&,
                                              std::error_code&) override {
        not_a_text();
        JSONCONS_VISITOR_RETURN;
    }

    void note(std::string problem) {
        if (problems_[member_].empty()) {
            problems_[member_] = std::move(problem);
        }
    }

    // A value of the wrong kind for a member (depth 1) or for a text of one (depth 2).
    void wrong_kind() {
        if (depth_ == 1 && member_ == kind_member) {
            note("\"kind\" must be a text");
        } else if (depth_ == 1 && member_ != no_member) {
            note(std::string("\"") + member_names[member_] + "\" must be an object of texts");
        } else if (depth_ == 2 && reading_) {
            note(std::string("\"") + member_names[member_] + "\".\"" + key_ +
                 R"(" must be a text (numbers are sent as text, e.g. "60"))");
        }
    }

    // Any value but a text (or a null member) at the current depth.
    void not_a_text() {
        if (skip_from_ == 0) {
            wrong_kind();
        }
    }

    void begin_container(bool object) {
        if (skip_from_ != 0) {
            ++depth_;
            return;
        }
        if (depth_ == 0) {
            root_is_object_ = object;
        } else if (depth_ == 1 && member_ != no_member && member_ != kind_member && object) {
            if (!seen_[member_]) {
                seen_[member_] = true;
                reading_ = true;
                ++depth_;
                return;
            }
        } else {
            wrong_kind();
        }
        ++depth_;
        // The root object is read; any other container here is walked past unread.
        if (depth_ > 1 || !object) {
            skip_from_ = depth_;
        }
    }

    void end_container() {
        if (skip_from_ == depth_) {
            skip_from_ = 0;
        } else if (depth_ == 2) {
            reading_ = false;
        }
        --depth_;
    }

    std::string& kind_;
    std::array<text_sink, member_count> texts_;
    std::array<std::string, member_count> problems_;
    std::array<bool, member_count> seen_{};
    bool root_is_object_ = false;
    std::size_t depth_ = 0;      // 1 inside the root object, 2 inside one of its members
    std::size_t skip_from_ = 0;  // the depth of a container walked past unread, 0 for none
    std::size_t member_ = no_member;
    bool reading_ = false;  // inside one of the objects of texts
    std::string key_;
    std::string_view key_in_text_;
};

std::map<int, std::string> channel_ids(const std::map<std::string, std::string>& texts) {
    std::map<int, std::string> channels;
    for (const auto& [id_text, name] : texts) {
        int id = 0;
        const char* end = id_text.data() + id_text.size();
        const auto [stop, error] = std::from_chars(id_text.data(), end, id, 10);
        if (id_text.empty() || error != std::errc() || stop != end) {
            throw invalid_settings_buffer("the channel id \"" + id_text +
                                          "\" is not a decimal number");
        }
        channels.emplace(id, name);
    }
    return channels;
}

void write_texts(messaging::impl::json_writer& out, const std::map<std::string, std::string>& texts,
                 bool masked) {
    out.begin_object();
    for (const auto& [key, value] : texts) {
        out.key(key).value(masked ? std::string("********") : value);
    }
    out.end_object();
}

}  // namespace

sensor_data_wrapper::sensor_data_wrapper(const void* data, unsigned size) {
    if (data == nullptr) {
        throw invalid_settings_buffer("the host passed a null pointer (size " +
                                      std::to_string(size) + ")");
    }
    if (size == 0) {
        throw invalid_settings_buffer("the host passed an empty buffer");
    }
    // Most buffers are plain: read from a copy, their settings stay in it until they are read.
    text_.assign(static_cast<const char*>(data), size);
    std::map<std::string, std::string> channel_texts;
    std::optional<buffer_reader> reader(
        std::in_place, kind_,
        std::array<text_sink, member_count>{
            text_sink{}, text_sink{nullptr, &settings_places_, text_.data()},
            text_sink{nullptr, &secure_settings_places_, text_.data()}, text_sink{&channel_texts},
            text_sink{&persistent_data_}});
    if (!impl::plain_buffer_scanner(text_, *reader).scan()) {
        // Not of the plain shape: start afresh with the JSON parser, straight into the maps.
        kind_.clear();
        settings_places_.clear();
        secure_settings_places_.clear();
        channel_texts.clear();
        persistent_data_.clear();
        reader.emplace(kind_, std::array<text_sink, member_count>{
                                  text_sink{}, text_sink{&settings_}, text_sink{&secure_settings_},
                                  text_sink{&channel_texts}, text_sink{&persistent_data_}});
        try {
            jsoncons::json_string_reader parser(std::string_view(text_), *reader);
            parser.read();
        } catch (const std::exception& e) {
            throw invalid_settings_buffer(std::string("it is not JSON (") + e.what() + ")");
        }
        text_.clear();
        texts_made_ = true;
    }
    reader->report();
    channels_ = channel_ids(channel_texts);
}

const std::map<std::string, std::string>& sensor_data_wrapper::settings() const {
    if (!texts_made_) {
        // In the order of the buffer: of two equal names the first counts, as with the parser.
        const auto fill = [this](const std::vector<text_place>& places,
                                 std::map<std::string, std::string>& texts) {
            for (const auto& place : places) {
                texts.emplace(text_.substr(place.name_at, place.name_size),
                              text_.substr(place.value_at, place.value_size));
            }
        };
        fill(settings_places_, settings_);
        fill(secure_settings_places_, secure_settings_);
        texts_made_ = true;
    }
    return settings_;
}

const std::map<std::string, std::string>& sensor_data_wrapper::secure_settings() const {
    settings();
    return secure_settings_;
}

const std::string& sensor_data_wrapper::get_value(const std::string& key) const {
    const std::string* value = find_value(key);
    if (value == nullptr) {
        throw setting_not_available(key);
    }
    return *value;
}

const std::string& sensor_data_wrapper::get_secure_value(const std::string& key) const {
    const auto found = secure_settings().find(key);
    if (found == secure_settings().end()) {
        throw setting_not_available(key);
    }
    return found->second;
}

const std::string* sensor_data_wrapper::find_value(const std::string& key) const {
    const auto found = settings().find(key);
    return found == settings().end() ? nullptr : &found->second;
}

std::string sensor_data_wrapper::to_json() const {
    messaging::impl::json_writer out;
    out.begin_object();
    out.key("kind").value(kind_);
    out.key("settings");
    write_texts(out, settings(), false);
    out.key("secure_settings");
    write_texts(out, secure_settings(), true);
    out.key("channels").begin_object();
    for (const auto& [id, name] : channels_) {
        out.key(std::to_string(id)).value(name);
    }
    out.end_object();
    out.key("persistent_data");
    write_texts(out, persistent_data_, false);
    out.end_object();
    return out.str();
}

}  // namespace zentrova::monitoring_modules::framework::settings
