// The patch state machine's states and the interface that each of them implements.
#ifndef TAVOMEND_STATE_I_STATE_H
#define TAVOMEND_STATE_I_STATE_H

#include <cstdint>
#include <string>
#include <vector>

namespace ORVX::TavomendEngine {
// 0, 3 and 5 name no state. The numbers are binding: they appear in logs and in clients.
enum State : int32_t {
    IDLE = 1,      // clean up after a finished or cleared patch
    READY = 2,     // rebuild the applications' files; entered by load
    ACTIVITES = 4, // install them, or check a revoke; entered by apply
    REVOKE = 6,    // write the list of applications to bring back; entered by revoke
};

// A state does its whole task at once, on the caller's thread. There is no current state kept anywhere: the facade
// asks the state that it wants, and the state checks that the request is meant for it.
class IState {
public:
    virtual ~IState() = default;
    // Does the state's task; true when it succeeded. bundleNames: the applications, as the state understands them. A
    // request for another state is refused with a code under key 102 and touches nothing.
    virtual bool SwitchState(const State& targetState, const std::vector<std::string>& bundleNames) = 0;
    // True exactly for the state's own number.
    virtual bool IsTargetState(const State& targetState) = 0;
};
} // namespace ORVX::TavomendEngine

#endif
