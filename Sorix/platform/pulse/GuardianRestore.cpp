// The guardian process: listens, then undoes.
#include <pulse/pulseaudio.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <string>

#include "Guardian.h"
#include "GuardianRecord.h"
#include "Logger.h"

namespace sorix {

namespace {

using pulse::GuardianRecord;

// The undoing must be done well within a second of the death, or not at all.
constexpr pa_usec_t kRestoreTimeoutMicroseconds = 900'000;

GuardianRecord listen(int descriptor) {
    GuardianRecord record;
    std::string pending;
    char chunk[4096];
    for (;;) {
        const ssize_t got = ::read(descriptor, chunk, sizeof chunk);
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0) return record;
        pending.append(chunk, static_cast<std::size_t>(got));
        for (auto end = pending.find('\n'); end != std::string::npos; end = pending.find('\n')) {
            record.apply(std::string_view(pending).substr(0, end));
            pending.erase(0, end + 1);
        }
    }
}

// One connection on a plain main loop, driven until every request has ended or time is up.
class Restorer {
  public:
    Restorer() : loop_(pa_mainloop_new()) {
        context_ = pa_context_new(pa_mainloop_get_api(loop_), "sorix-guardian");
    }
    ~Restorer() {
        pa_context_disconnect(context_);
        pa_context_unref(context_);
        pa_mainloop_free(loop_);
    }
    Restorer(const Restorer&) = delete;
    Restorer& operator=(const Restorer&) = delete;

    bool connect() {
        if (pa_context_connect(context_, nullptr, PA_CONTEXT_NOAUTOSPAWN, nullptr) < 0)
            return false;
        return runUntil([this] {
                   const pa_context_state_t state = pa_context_get_state(context_);
                   return state == PA_CONTEXT_READY || !PA_CONTEXT_IS_GOOD(state);
               }) &&
               pa_context_get_state(context_) == PA_CONTEXT_READY;
    }

    void undo(const GuardianRecord& record) {
        // In this order the server handles them: a stream that was on the default output, and
        // so has no home of its own here, falls back to the user's default with the tap.
        if (record.userDefault)
            track(pa_context_set_default_sink(context_, record.userDefault->c_str(), ended, this));
        for (const auto& [input, home] : record.moved)
            track(pa_context_move_sink_input_by_name(context_, input, home.c_str(), ended, this));
        for (uint32_t module : record.taps)
            track(pa_context_unload_module(context_, module, ended, this));
        runUntil([this] { return outstanding_ == 0; });
    }

  private:
    static void ended(pa_context*, int, void* self) {
        --static_cast<Restorer*>(self)->outstanding_;
    }

    void track(pa_operation* operation) {
        if (operation == nullptr) return;
        ++outstanding_;
        pa_operation_unref(operation);
    }

    template <typename Done>
    bool runUntil(Done done) {
        const pa_usec_t deadline = pa_rtclock_now() + kRestoreTimeoutMicroseconds;
        while (!done()) {
            if (pa_rtclock_now() >= deadline) return false;
            if (pa_mainloop_prepare(loop_, 20'000) < 0 || pa_mainloop_poll(loop_) < 0 ||
                pa_mainloop_dispatch(loop_) < 0)
                return false;
        }
        return true;
    }

    pa_mainloop* loop_;
    pa_context* context_;
    int outstanding_ = 0;
};

}  // namespace

int runGuardian(int descriptor, std::shared_ptr<LogSink> sink) {
    for (int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT})
        std::signal(signal, SIG_IGN);
    const Logger log("Guardian", sink ? std::move(sink) : std::make_shared<StreamLogSink>());
    const GuardianRecord record = listen(descriptor);
    if (record.empty()) return 0;
    Restorer restorer;
    // A server that is gone took the taps and the moves with it; nothing is left to undo.
    if (!restorer.connect()) return 0;
    restorer.undo(record);
    log.error(
        "Sorix ended without giving the sound back: the default output%s, %zu streams "
        "moved home, %zu taps removed",
        record.userDefault ? " " + *record.userDefault + " restored" : std::string(" kept"),
        record.moved.size(), record.taps.size());
    return 0;
}

}  // namespace sorix
