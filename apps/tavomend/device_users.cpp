#include "apps/tavomend/device_users.h"

#include <algorithm>
#include <nlohmann/json.hpp>

namespace ORVX::TavomendCli {
namespace {
constexpr const char* CANNOT_READ_STORE = "the bundle store cannot be read";

// Why not all of this can be done, before any of it is; empty when it can.
std::string WhyNot(std::vector<int32_t> users, const std::vector<int32_t>& added, const std::vector<int32_t>& removed)
{
    for (const int32_t user : added) {
        if (user <= 0) {
            return "a user's number is above 0";
        }
        if (std::find(users.begin(), users.end(), user) != users.end()) {
            return "user " + std::to_string(user) + " exists already";
        }
        users.push_back(user);
    }
    for (const int32_t user : removed) {
        const auto place = std::find(users.begin(), users.end(), user);
        if (place == users.end()) {
            return "there is no user " + std::to_string(user);
        }
        users.erase(place);
    }
    return "";
}
} // namespace

std::string JoinUsers(const std::vector<int32_t>& users)
{
    std::string text;
    for (const int32_t user : users) {
        text += (text.empty() ? "" : ",") + std::to_string(user);
    }
    return text;
}

int RunDeviceUsers(Session& session, const std::vector<int32_t>& added, const std::vector<int32_t>& removed)
{
    const auto platform = session.EnterDevice() ? session.StartPlatform(ServiceStart::ATTACH) : nullptr;
    if (platform == nullptr) {
        return EXIT_FAILED;
    }
    const auto former = platform->ListUsers();
    if (!former) {
        return session.Out().Fail(CANNOT_READ_STORE);
    }
    std::string error = WhyNot(*former, added, removed);
    if (!error.empty()) {
        return session.Out().Fail(error);
    }
    for (const int32_t user : added) {
        if (!platform->AddUser(user, error)) {
            return session.Out().Fail(error);
        }
    }
    for (const int32_t user : removed) {
        if (!platform->RemoveUser(user, error)) {
            return session.Out().Fail(error);
        }
    }
    const auto users = platform->ListUsers();
    if (!users) {
        return session.Out().Fail(CANNOT_READ_STORE);
    }
    session.Out().Emit("users", {{"users", *users}});
    session.Out().Say("users: " + JoinUsers(*users));
    return EXIT_DONE;
}
} // namespace ORVX::TavomendCli
