#pragma once

#include <stdexcept>
#include <string>

namespace sorix {

// The engine's one error: a fixed, user-facing message. Raised by the operations that can fail;
// the caller turns it into a retry or the failed state.
class SorixError : public std::runtime_error {
  public:
    explicit SorixError(std::string message)
        : std::runtime_error(message), message_(std::move(message)) {}
    const std::string& message() const noexcept { return message_; }

  private:
    std::string message_;
};

}  // namespace sorix
