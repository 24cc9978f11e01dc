// Executions, and what they send in a few letters.
#pragma once

#include "Client.h"

#include <algorithm>
#include <chrono>
#include <cstdio>

namespace fus::simulator::test {

constexpr unsigned RESULT_TYPE_AT = 22;
constexpr std::size_t BODY_AT = 28;

// "s1/2" for a shot result of shot 1 with two executions to come, "c1/0", "f1/0" for the results
// of an execution, "x1/0:38030000" for one that was stopped, "!" for anything unexpected.
inline std::string brief(const Answer& answer) {
    if (answer.type != 1304) {
        return "!" + described(answer);
    }
    const std::string where =
        std::to_string(answer.be32At(8)) + "/" + std::to_string(answer.be32At(16));
    switch (answer.payload.at(RESULT_TYPE_AT)) {
    case 29:
        return "s" + where;
    case 30:
        return "e" + where;
    case 31:
        return "t" + where + ":" +
               std::string(answer.payload.begin() + BODY_AT, answer.payload.begin() + BODY_AT + 6);
    default:
        break;
    }
    const std::uint32_t code = answer.be32At(BODY_AT);
    char hex[16];
    std::snprintf(hex, sizeof hex, ":%08X", code);
    return code == 0x38000000 ? "c" + where : code == 0x38000001 ? "f" + where : "x" + where + hex;
}

inline std::string readBriefs(Client& client, std::size_t count) {
    std::string line;
    for (std::size_t i = 0; i < count; ++i) {
        const auto answer = client.readAnswer();
        line += (i == 0 ? "" : " ") + (answer ? brief(*answer) : "end");
    }
    return line;
}

inline std::size_t countOf(const std::string& briefs) {
    return static_cast<std::size_t>(std::count(briefs.begin(), briefs.end(), ' ')) + 1;
}

// Uploads and starts; true if both were acknowledged.
inline bool start(Story& story, const std::vector<TestShot>& shots, const Modes& modes,
                  std::uint32_t count, std::uint32_t executionId = 500, std::uint32_t delay = 0) {
    const Description& description = story.simulator.description();
    if (description.hasV3Uploads()) {
        return story.client->ask(1122, 1, uploadV3(0, shots, modes)) == "1301 #1" &&
               story.client->ask(1123, 2, startV3(0, count, delay, executionId)) == "1301 #2";
    }
    const auto channels = static_cast<std::uint32_t>(description.channelCount);
    return story.client->ask(1102, 1, uploadV2(0, channels, shots)) == "1301 #1" &&
           story.client->ask(1103, 2, startV2(0, count, delay, executionId, modes)) == "1301 #2";
}

inline double secondsSince(std::chrono::steady_clock::time_point begin) {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

} // namespace fus::simulator::test
