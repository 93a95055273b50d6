// What an account with less rights could put in the way of a write: links from the engine's directories to elsewhere.
#ifndef TAVOMEND_TESTS_SUPPORT_PLANTED_LINKS_H
#define TAVOMEND_TESTS_SUPPORT_PLANTED_LINKS_H

#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <string>
#include <sys/stat.h>

#include "tests/support/device_fixture.h"

namespace ORVX::TavomendTest {
enum class Plant { LINK_TO_DIRECTORY, LINK_TO_FILE, LOOSE_LINK, HARD_LINK };

// Plants a link in the way of a path, writes, and tells whether anything changed where the link leads to.
class PlantedLink {
public:
    PlantedLink(Plant plant, const std::string& path)
    {
        namespace fs = std::filesystem;
        const std::string directory = path.substr(0, path.rfind('/'));
        const std::string name = path.substr(path.rfind('/') + 1);
        fs::remove_all("/victim");
        WriteFile("/victim/deep/" + name, "the victim's");
        WriteFile("/victim/" + name, "the victim's");
        fs::permissions("/victim/" + name, fs::perms(0604));
        fs::remove_all(directory);
        fs::create_directories(directory);
        switch (plant) {
        case Plant::LINK_TO_DIRECTORY:
            fs::remove(directory);
            fs::create_directory_symlink("/victim", directory);
            break;
        case Plant::LINK_TO_FILE:
            fs::create_symlink("/victim/" + name, path);
            break;
        case Plant::LOOSE_LINK:
            fs::create_symlink("/victim/new", path);
            break;
        case Plant::HARD_LINK:
            fs::create_hard_link("/victim/" + name, path);
            break;
        }
        before_ = State();
    }
    [[nodiscard]] bool IsUntouched() const { return State() == before_; }

private:
    // Names, modes, owners and contents.
    static std::map<std::string, std::string> State()
    {
        std::map<std::string, std::string> state;
        for (const auto& entry : std::filesystem::recursive_directory_iterator("/victim")) {
            struct stat status {};
            EXPECT_EQ(lstat(entry.path().c_str(), &status), 0);
            state[entry.path().string()] = std::to_string(status.st_mode) + " " + std::to_string(status.st_uid) + " " +
                                           (S_ISREG(status.st_mode) ? ReadFile(entry.path().string()) : "");
        }
        return state;
    }

    std::map<std::string, std::string> before_;
};
} // namespace ORVX::TavomendTest

#endif
