#pragma once

#include <array>

namespace sorix {

// The bars of Sorix's logo, a stylised waveform: two mirrored groups of four rising to the
// tallest bars in the middle, in a square design space of 1254 units. Each bar is fully rounded
// (its corner radius is half its width). The panel's logo and the tray icon draw from this one
// table.
struct LogoBar {
    double x, y, w, h, r;  // left, top, width, height, corner radius
};

struct LogoBars {
    static constexpr double designSize = 1254;
    static constexpr std::array<LogoBar, 4> left = {{{214, 462, 42, 166, 21},
                                                     {300, 354, 52, 388, 26},
                                                     {385, 235, 52, 620, 26},
                                                     {466, 354, 46, 208, 23}}};
    static constexpr std::array<LogoBar, 4> right = {{{746, 354, 46, 188, 23},
                                                      {827, 235, 52, 620, 26},
                                                      {927, 354, 52, 388, 26},
                                                      {1028, 462, 42, 166, 21}}};
};

}  // namespace sorix
