#pragma once

#include <locale>
#include <string>

namespace zentrova::monitoring_modules::testing {

// A locale that groups thousands with '.' and writes ',' as decimal mark, as many do.
struct grouping_punctuation : std::numpunct<char> {
    char do_decimal_point() const override { return ','; }
    char do_thousands_sep() const override { return '.'; }
    std::string do_grouping() const override { return "\3"; }
};

// Makes such a locale the process's C++ locale for one test and restores the previous one
// afterwards: what a probe that sets its own locale does to the module.
class process_locale {
public:
    process_locale()
        : previous_(
              std::locale::global(std::locale(std::locale::classic(), new grouping_punctuation))) {}
    ~process_locale() { std::locale::global(previous_); }
    process_locale(const process_locale&) = delete;
    process_locale& operator=(const process_locale&) = delete;

private:
    std::locale previous_;
};

}  // namespace zentrova::monitoring_modules::testing
