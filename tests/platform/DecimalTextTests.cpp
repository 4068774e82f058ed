#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <random>
#include <string>
#include <vector>

#include "CommaDecimalLocale.h"
#include "DecimalText.h"

namespace sorix {
namespace {

// The stored gains and the log's peaks must read exactly as printf wrote them before, rounding
// included, in whatever locale the program runs.
TEST(DecimalTextTest, PrintsAsPrintfInTheCLocaleWhateverTheProcessLocale) {
    std::vector<double> values = {0.0,   -0.0,  0.05,    0.25,   -0.25, 0.35f,   2.5,
                                  -1.5,  12.0,  -12.0,   0.949f, 1e-7,  123.456, 1e20,
                                  -0.04, 0.125, 0.00005, 3.0,    0.95f, 99.95f};
    std::mt19937 rng(7);
    std::uniform_real_distribution<float> gain(-20.0f, 20.0f);
    for (int i = 0; i < 2000; ++i)
        values.push_back(gain(rng));

    std::vector<std::string> expected;
    for (const int decimals : {1, 4}) {
        for (const double value : values) {
            char text[64];
            std::snprintf(text, sizeof text, "%.*f", decimals, value);
            expected.emplace_back(text);
        }
    }
    const testing::CommaDecimalLocale german;
    SKIP_WITHOUT_COMMA_DECIMAL_LOCALE(german);
    std::size_t k = 0;
    for (const int decimals : {1, 4}) {
        for (const double value : values)
            ASSERT_EQ(fixedDecimal(value, decimals), expected[k++]) << value;
    }
    EXPECT_EQ(fixedDecimal(1e300, 1).size(), 303u) << "room for the largest numbers";
}

}  // namespace
}  // namespace sorix
