// What both programs print: for people, or as JSON for scripts.
#ifndef TAVOMEND_APPS_COMMON_CONSOLE_H
#define TAVOMEND_APPS_COMMON_CONSOLE_H

#include <cstdint>
#include <mutex>
#include <nlohmann/json_fwd.hpp>
#include <string>

namespace ORVX::Cli {
constexpr int EXIT_DONE = 0;
constexpr int EXIT_FAILED = 1;
constexpr int EXIT_USAGE = 2;
constexpr int EXIT_NOTHING = 3;
constexpr int EXIT_BUSY = 4;
constexpr int EXIT_NEEDS_BOOT = 5;

// A kind of failure: its word for scripts, and the exit code that goes with it.
struct Failure {
    const char* code;
    int exitCode;
};
constexpr Failure FAILED{"failed", EXIT_FAILED};
constexpr Failure WRONG_USAGE{"usage", EXIT_USAGE};
constexpr Failure BUSY{"busy", EXIT_BUSY};

// With JSON on, standard output carries JSON only, one object a line, each with "schema" and "event"; what is meant for
// people then goes to standard error. Everything is flushed as it is written. Colour only on a terminal and without
// NO_COLOR. Safe from any thread.
class Console {
public:
    // program: what stands before a failure; must outlive the console.
    Console(const char* program, bool isJson);
    Console(const Console&) = delete;
    Console& operator=(const Console&) = delete;

    [[nodiscard]] bool IsJson() const { return isJson_; }
    // One line, or lines that end with a line feed already. Control characters are shown as escapes (Printable); a
    // text of others that may hold line feeds is made Printable by the caller.
    void Say(const std::string& text) const;
    // One line on standard error, line feeds of the text escaped too, and the event "error" with the same text; gives
    // the exit code of that kind of failure.
    int Fail(const std::string& text, const Failure& kind = FAILED) const;
    // One line of JSON: the schema number, the event, and then the fields of an object. A field has the same type in
    // every event of both programs. Does nothing without JSON.
    void Emit(const char* event, const nlohmann::ordered_json& fields) const;
    // One line on standard error beside the result: what is going on.
    void Remark(const std::string& text) const;
    // One line on standard error that a person or a script should heed, and the event "note" with it.
    void Note(const std::string& text) const;
    // Whether standard error is a terminal that may have a bar; never with JSON.
    [[nodiscard]] bool HasBar() const { return hasBar_; }
    // Puts a bar on the terminal's line, in place of the one before. It goes before anything else is written, and with
    // TakeBarAway. Progress draws it.
    void ShowBar(const std::string& bar) const;
    void TakeBarAway() const;
    // One step of a longer work: a bar on a terminal, a line elsewhere.
    void Progress(const std::string& step, int32_t done, int32_t total) const;

private:
    void Write(std::ostream& stream, const std::string& text) const;

    const char* program_;
    bool isJson_;
    bool isTerminal_;
    bool hasColour_;
    bool hasBar_;
    mutable std::mutex mutex_; // over the two streams and the bar
    mutable bool isBarShown_ = false;
};
} // namespace ORVX::Cli

#endif
