#pragma once

#include <QString>
#include <string_view>

namespace sorix {

// The engine's UTF-8 texts as Qt holds them.
inline QString qString(std::string_view text) {
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

}  // namespace sorix
