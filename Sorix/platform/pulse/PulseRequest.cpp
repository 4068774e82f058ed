#include "PulseRequest.h"

#include <utility>

namespace sorix::pulse {

std::string Outcome::problem() const {
    switch (kind) {
        case Kind::succeeded:
            return {};
        case Kind::unanswered:
            return "no answer";
        case Kind::failed:
            break;
    }
    return error != 0 ? pa_strerror(error) : "refused";
}

// --- Completions ---

void Done::reply(pa_context* context, int success, void* self) {
    static_cast<Done*>(self)->tell(success != 0
                                       ? Outcome{Outcome::Kind::succeeded, 0}
                                       : Outcome{Outcome::Kind::failed, pa_context_errno(context)});
}

void Done::reply(pa_stream* stream, int success, void* self) {
    reply(pa_stream_get_context(stream), success, self);
}

void Done::ended(bool answered) {
    if (!answered) tell({Outcome::Kind::unanswered, 0});
}

void Done::tell(const Outcome& outcome) {
    if (told_) return;
    told_ = true;
    if (handler_) handler_(outcome);
}

void Loaded::reply(pa_context* context, uint32_t index, void* self) {
    auto* loaded = static_cast<Loaded*>(self);
    if (index == PA_INVALID_INDEX) {
        loaded->tell(std::nullopt, {Outcome::Kind::failed, pa_context_errno(context)});
    } else {
        loaded->tell(index, {Outcome::Kind::succeeded, 0});
    }
}

void Loaded::ended(bool answered) {
    if (!answered) tell(std::nullopt, {Outcome::Kind::unanswered, 0});
}

void Loaded::tell(std::optional<uint32_t> module, const Outcome& outcome) {
    if (told_) return;
    told_ = true;
    if (handler_) handler_(module, outcome);
}

// --- Operation ---

Operation::Operation(pa_operation* operation, Completion* completion)
    : operation_(operation), completion_(completion) {
    if (operation_ != nullptr) pa_operation_ref(operation_);
}

Operation::~Operation() { release(); }

Operation::Operation(Operation&& other) noexcept
    : operation_(std::exchange(other.operation_, nullptr)),
      completion_(std::exchange(other.completion_, nullptr)) {}

Operation& Operation::operator=(Operation&& other) noexcept {
    if (this != &other) {
        release();
        operation_ = std::exchange(other.operation_, nullptr);
        completion_ = std::exchange(other.completion_, nullptr);
    }
    return *this;
}

void Operation::release() {
    if (operation_ != nullptr) pa_operation_unref(operation_);
    operation_ = nullptr;
    completion_ = nullptr;
}

bool Operation::running() const {
    return operation_ != nullptr && pa_operation_get_state(operation_) == PA_OPERATION_RUNNING;
}

void Operation::cancel() {
    if (!running()) return;
    completion_->forget();
    pa_operation_cancel(operation_);
}

// --- The table ---

RequestTable::~RequestTable() {
    // A connection cancels its operations when it goes, so nothing is left here in practice;
    // whatever is, its askers are gone too and hear nothing.
    for (auto& [key, entry] : entries_)
        entry->completion->forget();
}

Operation RequestTable::adopt(pa_context* context, std::unique_ptr<Completion> completion,
                              pa_operation* operation) {
    if (operation == nullptr) {
        completion->notSent(context != nullptr ? pa_context_errno(context)
                                               : PA_ERR_CONNECTIONTERMINATED);
        return {};
    }
    auto entry = std::make_unique<Entry>(Entry{this, std::move(completion)});
    Entry* raw = entry.get();
    entries_.emplace(raw, std::move(entry));
    pa_operation_set_state_callback(operation, &RequestTable::stateChanged, raw);
    Operation handle(operation, raw->completion.get());
    pa_operation_unref(operation);  // the handle holds its own reference
    return handle;
}

void RequestTable::stateChanged(pa_operation* operation, void* self) {
    auto* entry = static_cast<Entry*>(self);
    const pa_operation_state_t state = pa_operation_get_state(operation);
    if (state == PA_OPERATION_RUNNING) return;
    RequestTable* table = entry->table;
    const auto found = table->entries_.find(entry);
    if (found == table->entries_.end()) return;
    std::unique_ptr<Entry> owned = std::move(found->second);
    table->entries_.erase(found);
    owned->completion->ended(state == PA_OPERATION_DONE);
    // Whoever waits on the loop for a request to end looks again.
    pa_threaded_mainloop_signal(table->loop_, 0);
}

}  // namespace sorix::pulse
