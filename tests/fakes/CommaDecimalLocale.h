#pragma once

#include <clocale>
#include <cstring>
#include <locale>
#include <stdexcept>
#include <string>

namespace sorix::testing {

// The user's locale as a desktop program adopts it (Qt calls setlocale(LC_ALL, "") at start-up),
// here a German one, where 2.5 is written "2,5": set for the C library and as the global C++
// locale while the object lives, the previous ones restored after. active() is false when the
// machine lacks the locale (scripts/install-deps.sh makes it).
class CommaDecimalLocale {
  public:
    static constexpr const char* name = "de_DE.UTF-8";

    CommaDecimalLocale() : previousC_(std::setlocale(LC_ALL, nullptr)) {
        try {
            previousCpp_ = std::locale::global(std::locale(name));
        } catch (const std::runtime_error&) {
            return;
        }
        std::setlocale(LC_ALL, name);
        active_ = std::strcmp(std::localeconv()->decimal_point, ",") == 0;
    }
    ~CommaDecimalLocale() {
        std::locale::global(previousCpp_);
        std::setlocale(LC_ALL, previousC_.c_str());
    }
    CommaDecimalLocale(const CommaDecimalLocale&) = delete;
    CommaDecimalLocale& operator=(const CommaDecimalLocale&) = delete;

    bool active() const { return active_; }

  private:
    std::string previousC_;
    std::locale previousCpp_;
    bool active_ = false;
};

}  // namespace sorix::testing

// Skips the current test, saying why, when the comma-decimal locale cannot be set.
#define SKIP_WITHOUT_COMMA_DECIMAL_LOCALE(locale)                                          \
    if (!(locale).active())                                                                \
    GTEST_SKIP() << "the locale " << ::sorix::testing::CommaDecimalLocale::name            \
                 << " is missing (scripts/install-deps.sh makes it); skipped rather than " \
                    "passed without the comma-decimal check"
