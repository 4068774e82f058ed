#include <algorithm>
#include <cmath>
#include <optional>

#include "TimeCode.h"
#include "TimeCodeSearch.h"
#include "TimeCodeTimeline.h"

namespace sorix::testing {

using timecode::Grid;
using timecode::Match;
using timecode::Scene;
using timecode::Track;
using timecode::WholeSourceSearch;
using timecode::WindowMatch;

namespace {

// How far either side of the previous window's lag tracking looks: enough for a lag that
// wanders with an equaliser's delay or a drifting clock.
constexpr std::int64_t kTrackingRadius = 4;
// Searches compare stretches of hundreds of frames or more, where foreign sound stays far below
// this score; windows still need the match threshold on their own.
constexpr double kLockThreshold = 0.4;
// After a loss, the stretch compared near the old position, in windows; the search reaches two
// windows either side, for the uncertainty of where a pause began and ended.
constexpr std::int64_t kResumeWindows = 4;
// The stretch looked for through the whole source.
constexpr std::int64_t kQueryFrames = 4096;

class Classifier {
  public:
    Classifier(const Track& recording, const Track& source, const WholeSourceSearch& search,
               const Grid& grid, const TimeCodeOptions& options)
        : recording_(recording),
          source_(source),
          search_(search),
          grid_(grid),
          options_(options),
          windows_(grid.count),
          firstBackoff_(static_cast<std::size_t>((kQueryFrames + grid.window - 1) / grid.window)),
          lastBackoff_(static_cast<std::size_t>(std::max<std::int64_t>(
              options.rate / grid.window, static_cast<std::int64_t>(firstBackoff_)))),
          backoff_(firstBackoff_) {}

    std::vector<WindowMatch> run() {
        for (std::size_t i = 0; i < grid_.count; ++i)
            classify(i);
        return std::move(windows_);
    }

  private:
    bool silent(const Track& track, std::int64_t begin, std::int64_t end) const {
        return track.rms(begin, end) < options_.silenceLevel;
    }

    Match matchNear(std::size_t i, std::int64_t centre) const {
        const std::int64_t begin = grid_.begin(i);
        return bestNear(recording_, source_, begin, grid_.end(i) - begin, centre, kTrackingRadius);
    }

    void accept(std::size_t i, std::int64_t lag) {
        windows_[i] = {WindowMatch::Kind::matched, lag};
        expected_ = lag;
        lastMatchEnd_ = grid_.end(i);
        resumeTried_ = false;
        backoff_ = firstBackoff_;
        nextWholeSearch_ = 0;
    }

    void classify(std::size_t i) {
        const std::int64_t begin = grid_.begin(i);
        const std::int64_t end = grid_.end(i);
        if (silent(recording_, begin, end)) {
            // Silence where the source is silent too is still the source, in step; beyond its
            // ends it is not.
            if (expected_ && begin + *expected_ >= 0 && end + *expected_ <= source_.size() &&
                silent(source_, begin + *expected_, end + *expected_))
                return accept(i, *expected_);
            windows_[i] = {WindowMatch::Kind::silent, 0};
            // Sound after silence is worth the search near the old place again, though sound
            // before it, such as an equaliser's ringing, already had it.
            resumeTried_ = false;
            return;
        }
        if (expected_) {
            const Match match = matchNear(i, *expected_);
            if (match.score >= options_.matchThreshold) return accept(i, match.lag);
        }
        std::optional<std::int64_t> lock;
        if (expected_ && !resumeTried_) lock = resume(i);
        if (!lock && i >= nextWholeSearch_) lock = searchEverywhere(i);
        windows_[i] = {WindowMatch::Kind::unmatched, 0};
        if (!lock) return;
        expected_ = lock;
        lastMatchEnd_ = end;
        backtrack(i, *lock);
        const Match match = matchNear(i, *lock);
        if (match.score >= options_.matchThreshold) accept(i, match.lag);
    }

    // Where the source went on in time while the recording lost it, and where it waited.
    std::optional<std::int64_t> resume(std::size_t i) {
        resumeTried_ = true;
        const std::int64_t begin = grid_.begin(i);
        const std::int64_t length =
            std::min(kResumeWindows * grid_.window, recording_.size() - begin);
        Match best;
        for (const std::int64_t centre : {*expected_, *expected_ - (begin - lastMatchEnd_)}) {
            const Match match =
                bestNear(recording_, source_, begin, length, centre, 2 * grid_.window);
            if (match.score > best.score) best = match;
        }
        if (best.score < kLockThreshold) return std::nullopt;
        return best.lag;
    }

    std::optional<std::int64_t> searchEverywhere(std::size_t i) {
        // Past the end of the recording, the query is silence.
        const Match match = search_.find(recording_, source_, grid_.begin(i), kQueryFrames);
        if (match.score >= kLockThreshold) {
            // Until a window matches, no new search sooner than a query later: a place found
            // whose windows never match would otherwise be searched for again at every window.
            nextWholeSearch_ = i + firstBackoff_;
            return match.lag;
        }
        nextWholeSearch_ = i + backoff_;
        backoff_ = std::min(2 * backoff_, lastBackoff_);
        return std::nullopt;
    }

    // The windows passed over while the source was lost may hold the start of what was found.
    void backtrack(std::size_t i, std::int64_t lag) {
        for (std::size_t j = i; j-- > 0 && windows_[j].kind == WindowMatch::Kind::unmatched;) {
            const Match match = matchNear(j, lag);
            if (match.score < options_.matchThreshold) return;
            windows_[j] = {WindowMatch::Kind::matched, match.lag};
            lag = match.lag;
        }
    }

    const Track& recording_;
    const Track& source_;
    const WholeSourceSearch& search_;
    const Grid& grid_;
    const TimeCodeOptions& options_;
    std::vector<WindowMatch> windows_;
    const std::size_t firstBackoff_;
    const std::size_t lastBackoff_;
    std::optional<std::int64_t> expected_;
    std::int64_t lastMatchEnd_ = 0;
    bool resumeTried_ = false;
    std::size_t backoff_;
    std::size_t nextWholeSearch_ = 0;
};

}  // namespace

struct TimeCodeAnalyser::Source {
    explicit Source(std::vector<float> source)
        : samples(std::move(source)), track(samples), search(track, kQueryFrames) {}
    const std::vector<float> samples;
    const Track track;
    WholeSourceSearch search;
};

TimeCodeAnalyser::TimeCodeAnalyser(std::vector<float> source, TimeCodeOptions options)
    : source_(std::make_unique<const Source>(std::move(source))), options_(options) {}

TimeCodeAnalyser::~TimeCodeAnalyser() = default;

TimeCodeReport TimeCodeAnalyser::analyse(std::span<const float> recording) const {
    const Track track(recording);
    const auto window = std::max<std::int64_t>(
        1, static_cast<std::int64_t>(std::lround(options_.windowSeconds * options_.rate)));
    const Grid grid(track.size(), window);
    const auto windows = Classifier(track, source_->track, source_->search, grid, options_).run();
    const auto minimumGap = std::max<std::int64_t>(
        1, static_cast<std::int64_t>(std::lround(options_.minimumGapSeconds * options_.rate)));
    return buildReport(Scene{grid, track, source_->track, options_, windows, minimumGap});
}

}  // namespace sorix::testing
