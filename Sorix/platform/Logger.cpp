#include "Logger.h"

#include <locale.h>

#include <cstdarg>
#include <cstdio>

namespace sorix {

namespace {

// The "C" locale for this thread while a line is formatted, the previous one again after. A
// desktop process adopts the user's locale (Qt sets it at start-up), and a German or French one
// would print "2,5" for 2.5: the log must read the same on every machine.
class CLocaleScope {
  public:
    CLocaleScope() : previous_(cLocale() != locale_t{} ? ::uselocale(cLocale()) : locale_t{}) {}
    ~CLocaleScope() {
        if (previous_ != locale_t{}) ::uselocale(previous_);
    }
    CLocaleScope(const CLocaleScope&) = delete;
    CLocaleScope& operator=(const CLocaleScope&) = delete;

  private:
    // Made once and kept for the life of the process; every thread may use it.
    static locale_t cLocale() {
        static const locale_t locale = ::newlocale(LC_ALL_MASK, "C", locale_t{});
        return locale;
    }

    locale_t previous_;
};

std::string formatArguments(const char* format, std::va_list args) {
    const CLocaleScope inCLocale;
    std::string plain = plainPrintfFormat(format);
    std::va_list measuring;
    va_copy(measuring, args);
    const int length = std::vsnprintf(nullptr, 0, plain.c_str(), measuring);
    va_end(measuring);
    if (length < 0) return plain;
    std::string result(static_cast<std::size_t>(length) + 1, '\0');
    std::vsnprintf(result.data(), result.size(), plain.c_str(), args);
    result.resize(static_cast<std::size_t>(length));
    return result;
}

}  // namespace

std::string plainPrintfFormat(std::string_view format) {
    std::string plain;
    plain.reserve(format.size());
    for (std::size_t i = 0; i < format.size(); ++i) {
        plain += format[i];
        if (format[i] != '%') continue;
        if (i + 1 < format.size() && format[i + 1] == '%') {
            plain += '%';
            ++i;
            continue;
        }
        if (i + 1 < format.size() && format[i + 1] == '{') {
            const std::size_t close = format.find('}', i + 2);
            if (close != std::string_view::npos) i = close;
        }
    }
    return plain;
}

std::string formatLogMessage(const char* format, ...) {
    std::va_list args;
    va_start(args, format);
    std::string message = formatArguments(format, args);
    va_end(args);
    return message;
}

Logger::Logger(std::string category, std::shared_ptr<LogSink> sink)
    : category_(std::move(category)), sink_(std::move(sink)) {}

void Logger::emit(LogLevel level, const char* format, ...) const {
    if (!sink_->isEnabled(level)) return;
    std::va_list args;
    va_start(args, format);
    const std::string message = formatArguments(format, args);
    va_end(args);
    sink_->write(level, category_, message);
}

void StreamLogSink::write(LogLevel, std::string_view category, std::string_view message) {
    std::string line = "sorix[";
    line.append(category).append("] ").append(message).append("\n");
    std::fwrite(line.data(), 1, line.size(), stream_);
    std::fflush(stream_);
}

}  // namespace sorix
