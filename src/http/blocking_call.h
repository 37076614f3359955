// One call of the internet layer that waits for a server, ended as soon as the operation of its thread is
// cancelled: the request's handle is closed, which ends the wait, as the layer documents it. On the stack.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>

#include "http/exchange.h"

namespace Http {

// The thread that looks after the calls. It ends with the last session and request.
class CancelWatch;
std::shared_ptr<CancelWatch> GetCancelWatch();

class BlockingCall {
public:
    // `patience` is how long a cancelled call may still wait for its end.
    explicit BlockingCall(Handle request, std::chrono::milliseconds patience = {});
    ~BlockingCall();
    BlockingCall(const BlockingCall&) = delete;
    BlockingCall& operator=(const BlockingCall&) = delete;

    // Ends the watch. HResultException E_CANCELED when the call was ended by it.
    void Finish();

private:
    std::shared_ptr<CancelWatch> m_watch;  // none without a flag to look at
    uint64_t m_id = 0;
};

// Closes a request's handle, unless a cancel has closed it.
void CloseRequest(Handle request);

}  // namespace Http
