// What the hosting program prints: for people, or as JSON for scripts.
#ifndef TAVOMEND_APPS_TAVOMEND_CONSOLE_H
#define TAVOMEND_APPS_TAVOMEND_CONSOLE_H

#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>

namespace ORVX::TavomendCli {
constexpr int EXIT_DONE = 0;
constexpr int EXIT_FAILED = 1;
constexpr int EXIT_USAGE = 2;
constexpr int EXIT_NOTHING = 3;

// With JSON on, standard output carries JSON only, one object a line, each with the schema number; what is meant for
// people then goes to standard error. Everything is flushed as it is written. Colour only on a terminal and without
// NO_COLOR.
class Console {
public:
    explicit Console(bool isJson);

    [[nodiscard]] bool IsJson() const { return isJson_; }
    // One line, or lines that end with a line feed already.
    void Say(const std::string& text) const;
    // One line on standard error, and an object with it; gives the exit code of a failure.
    int Fail(const std::string& text) const;
    // Adds the schema number. Does nothing without JSON.
    void Emit(const nlohmann::ordered_json& object) const;
    // One step of a longer work: a bar on a terminal, a line elsewhere.
    void Progress(const std::string& step, int32_t done, int32_t total) const;

private:
    bool isJson_;
    bool isTerminal_;
    bool hasColour_;
};
} // namespace ORVX::TavomendCli

#endif
