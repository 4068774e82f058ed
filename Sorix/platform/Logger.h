#pragma once

#include <cstdio>
#include <memory>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

namespace sorix {

// The two levels the engine logs at: everyday state lines and failures.
enum class LogLevel { standard, error };

// Where finished lines go. Called on whichever thread logs (the main thread in practice).
class LogSink {
  public:
    virtual ~LogSink() = default;
    virtual bool isEnabled(LogLevel) const { return true; }
    virtual void write(LogLevel level, std::string_view category, std::string_view message) = 0;
};

// One line per message, printf-style. Placeholders may carry a privacy marker, as in
// "%{public}s"; it is dropped and the rest is formatted as printf would. Never used on the
// render path.
class Logger {
  public:
    Logger(std::string category, std::shared_ptr<LogSink> sink);

    const std::string& category() const { return category_; }
    bool isEnabled(LogLevel level) const { return sink_->isEnabled(level); }

    template <typename... Args>
    void log(const char* format, const Args&... args) const {
        emit(LogLevel::standard, format, printfArgument(args)...);
    }

    template <typename... Args>
    void error(const char* format, const Args&... args) const {
        emit(LogLevel::error, format, printfArgument(args)...);
    }

  private:
    template <typename T>
    static auto printfArgument(const T& value) {
        if constexpr (std::is_same_v<T, std::string>) {
            return value.c_str();
        } else {
            static_assert(std::is_arithmetic_v<T> || std::is_pointer_v<T> || std::is_array_v<T> ||
                              std::is_enum_v<T>,
                          "log arguments are numbers, C strings or std::string");
            return value;
        }
    }

    void emit(LogLevel level, const char* format, ...) const;

    std::string category_;
    std::shared_ptr<LogSink> sink_;
};

// Formats as printf would after dropping privacy markers such as "{public}" from placeholders.
std::string formatLogMessage(const char* format, ...);
// The format with its privacy markers dropped.
std::string plainPrintfFormat(std::string_view format);

// The production sink: "sorix[Category] message" lines on a stream (stderr by default), each
// written whole so lines from different threads never interleave.
class StreamLogSink : public LogSink {
  public:
    explicit StreamLogSink(std::FILE* stream = stderr) : stream_(stream) {}
    void write(LogLevel level, std::string_view category, std::string_view message) override;

  private:
    std::FILE* stream_;
};

// Keeps every line, for tests of the code that logs.
class RecordingLogSink : public LogSink {
  public:
    struct Line {
        LogLevel level;
        std::string category;
        std::string message;
    };

    void write(LogLevel level, std::string_view category, std::string_view message) override {
        lines.push_back({level, std::string(category), std::string(message)});
    }

    std::vector<std::string> messages() const {
        std::vector<std::string> result;
        for (const Line& line : lines)
            result.push_back(line.message);
        return result;
    }

    std::vector<Line> lines;
};

}  // namespace sorix
