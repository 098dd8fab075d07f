// SPDX-License-Identifier: MIT
#include "platform/shared/DataTask.h"

#include <utility>

namespace platform {

namespace {

class DataTask final : public URLSessionDataTask {
public:
    explicit DataTask(std::function<void()> resume)
        : m_resume(std::move(resume)) { }
    void resume() override { m_resume(); }

private:
    const std::function<void()> m_resume;
};

} // namespace

std::unique_ptr<URLSessionDataTask> makeDataTask(std::function<void()> resume) {
    return std::make_unique<DataTask>(std::move(resume));
}

std::unique_ptr<URLSessionDataTask> makeRefusedDataTask(
    WorkQueue& queue, DataTaskCompletion completion, std::string words) {
    return makeDataTask([&queue, completion = std::move(completion), words = std::move(words)] {
        queue.post([completion, words] { completeDataTask(completion, words, {}, {}); });
    });
}

void completeDataTask(const DataTaskCompletion& completion, std::optional<std::string> error,
    std::optional<std::string> data, const URLResponse& response) {
    if (error) {
        completion({}, {}, TransportError{*std::move(error)});
    } else {
        completion(std::move(data), response, {});
    }
}

} // namespace platform
