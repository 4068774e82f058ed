#pragma once

#include <pulse/pulseaudio.h>

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>

// Requests to the sound server and what their askers hear back. libpulse calls a request's reply
// callback with a bare pointer and, when the connection or stream goes away first, drops the
// request without calling it at all; so every request here has a completion that the connection's
// request table owns until the operation ends, and every completion is told exactly once how its
// request ended: answered, refused, or never answered.
namespace sorix::pulse {

// How a request that only succeeds or fails ended.
struct Outcome {
    enum class Kind { succeeded, failed, unanswered };
    Kind kind = Kind::unanswered;
    int error = 0;  // libpulse's error code when it failed

    bool succeeded() const { return kind == Kind::succeeded; }
    bool failed() const { return kind == Kind::failed; }
    // libpulse's words for the failure.
    std::string problem() const;
};

class RequestTable;

class Completion {
  public:
    virtual ~Completion() = default;
    // The operation is over; `answered` when its reply came (and was handed on) before.
    virtual void ended(bool answered) = 0;
    // libpulse would not even send the request, for the reason `error`.
    virtual void notSent(int error) = 0;
    // The asker no longer wants to hear of it.
    virtual void forget() = 0;
};

// A request that succeeds or fails: context and stream success replies.
class Done final : public Completion {
  public:
    using Handler = std::function<void(const Outcome&)>;
    explicit Done(Handler handler) : handler_(std::move(handler)) {}

    static void reply(pa_context* context, int success, void* self);
    static void reply(pa_stream* stream, int success, void* self);
    void ended(bool answered) override;
    void notSent(int error) override { tell({Outcome::Kind::failed, error}); }
    void forget() override { handler_ = nullptr; }

  private:
    void tell(const Outcome& outcome);
    Handler handler_;
    bool told_ = false;
};

// A module load: the new module's index, none when it failed or was never answered.
class Loaded final : public Completion {
  public:
    using Handler = std::function<void(std::optional<uint32_t> module, const Outcome&)>;
    explicit Loaded(Handler handler) : handler_(std::move(handler)) {}

    static void reply(pa_context* context, uint32_t index, void* self);
    void ended(bool answered) override;
    void notSent(int error) override { tell(std::nullopt, {Outcome::Kind::failed, error}); }
    void forget() override { handler_ = nullptr; }

  private:
    void tell(std::optional<uint32_t> module, const Outcome& outcome);
    Handler handler_;
    bool told_ = false;
};

// An information request: `each` for every entry of the answer, then `end` once, with whether an
// answer came at all (one that names no entry, for an object already gone, is an answer).
template <typename Info>
class Described final : public Completion {
  public:
    using Each = std::function<void(const Info&)>;
    using End = std::function<void(bool answered)>;
    Described(Each each, End end) : each_(std::move(each)), end_(std::move(end)) {}

    // Lists and single objects by index.
    static void reply(pa_context*, const Info* info, int eol, void* self) {
        auto* described = static_cast<Described*>(self);
        if (info != nullptr && described->each_) described->each_(*info);
        if (eol != 0) described->finish(true);
    }
    // The server's own information, which has no end-of-list marker.
    static void reply(pa_context*, const Info* info, void* self) {
        auto* described = static_cast<Described*>(self);
        if (info != nullptr && described->each_) described->each_(*info);
        described->finish(true);
    }
    void ended(bool answered) override { finish(answered); }
    void notSent(int) override { finish(false); }
    void forget() override {
        each_ = nullptr;
        end_ = nullptr;
    }

  private:
    void finish(bool answered) {
        if (finished_) return;
        finished_ = true;
        if (end_) end_(answered);
    }
    Each each_;
    End end_;
    bool finished_ = false;
};

// The asker's handle on a request in flight: holds a reference on libpulse's operation, and lets
// the asker wait for it or call it off. Dropping it leaves the request running; its completion
// still hears how it ends.
class Operation {
  public:
    Operation() = default;
    Operation(pa_operation* operation, Completion* completion);
    ~Operation();
    Operation(Operation&& other) noexcept;
    Operation& operator=(Operation&& other) noexcept;
    Operation(const Operation&) = delete;
    Operation& operator=(const Operation&) = delete;

    bool running() const;
    // Loop lock held: the request is called off and its completion hears nothing more.
    void cancel();

  private:
    void release();
    pa_operation* operation_ = nullptr;
    Completion* completion_ = nullptr;  // the table's, valid while the operation runs
};

// The completions of one connection's requests in flight. Everything runs with the loop lock held.
class RequestTable {
  public:
    explicit RequestTable(pa_threaded_mainloop* loop) : loop_(loop) {}
    ~RequestTable();
    RequestTable(const RequestTable&) = delete;
    RequestTable& operator=(const RequestTable&) = delete;

    // Sends a request on `context`: `start` makes the libpulse call with `Kind::reply` and the
    // completion it is given, and returns libpulse's operation. A request that cannot be sent
    // has failed, and its completion hears so before send returns.
    template <typename Kind, typename Start>
    Operation send(pa_context* context, Kind completion, Start&& start) {
        auto owned = std::make_unique<Kind>(std::move(completion));
        pa_operation* operation = context != nullptr ? start(*owned) : nullptr;
        return adopt(context, std::move(owned), operation);
    }

  private:
    Operation adopt(pa_context* context, std::unique_ptr<Completion> completion,
                    pa_operation* operation);
    static void stateChanged(pa_operation* operation, void* self);

    struct Entry {
        RequestTable* table;
        std::unique_ptr<Completion> completion;
    };
    pa_threaded_mainloop* loop_;
    std::map<const Entry*, std::unique_ptr<Entry>> entries_;
};

}  // namespace sorix::pulse
