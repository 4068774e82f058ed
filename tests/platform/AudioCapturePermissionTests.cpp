#include <gtest/gtest.h>

#include <thread>

#include "AudioCapturePermission.h"
#include "ManualMainQueue.h"

namespace sorix {
namespace {

using Status = AudioCapturePermission::Status;

AudioCapturePermission::ServiceLoader preflightAnswering(int32_t code) {
    return [code] {
        AudioCapturePermission::Service service;
        service.preflight = [code](std::string_view name) {
            EXPECT_EQ(name, AudioCapturePermission::service);
            return code;
        };
        return service;
    };
}

TEST(AudioCapturePermissionTest, PreflightCodesMapToStatuses) {
    ManualMainQueue queue;
    EXPECT_EQ(AudioCapturePermission(queue, preflightAnswering(0)).preflight(), Status::granted);
    EXPECT_EQ(AudioCapturePermission(queue, preflightAnswering(1)).preflight(), Status::denied);
    EXPECT_EQ(AudioCapturePermission(queue, preflightAnswering(2)).preflight(),
              Status::undetermined);
    EXPECT_EQ(AudioCapturePermission(queue, preflightAnswering(-7)).preflight(),
              Status::undetermined);
}

TEST(AudioCapturePermissionTest, WithoutAServiceCaptureIsAllowedOnTheNextTurn) {
    ManualMainQueue queue;
    int loads = 0;
    AudioCapturePermission permission(queue, [&] {
        ++loads;
        return AudioCapturePermission::loadSystemService();
    });
    EXPECT_EQ(permission.preflight(), Status::granted);

    std::optional<bool> answer;
    permission.request([&](bool granted) { answer = granted; });
    EXPECT_FALSE(answer.has_value());
    queue.runPending();
    EXPECT_EQ(answer, true);
    EXPECT_EQ(loads, 1);
}

TEST(AudioCapturePermissionTest, AnAnswerFromAnotherThreadArrivesOnTheMainQueue) {
    ManualMainQueue queue;
    std::thread dialog;
    AudioCapturePermission permission(queue, [&] {
        AudioCapturePermission::Service service;
        service.request = [&](std::string_view, std::function<void(bool)> completion) {
            dialog = std::thread([completion] { completion(false); });
        };
        return service;
    });

    std::optional<bool> answer;
    permission.request([&](bool granted) { answer = granted; });
    dialog.join();
    EXPECT_FALSE(answer.has_value());
    queue.runPending();
    EXPECT_EQ(answer, false);
}

}  // namespace
}  // namespace sorix
