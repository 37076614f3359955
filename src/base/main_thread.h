// The bridge from a worker thread onto the host's main thread.
#pragma once

#include <functional>

#include "base/scaffolding.h"
#include "hostapi/itmk.h"

class ThreadSafeCall final : public cCoClassUnknownT<ThreadSafeCall, TMK::ITMK_ThreadSafeCallback> {
public:
    explicit ThreadSafeCall(std::function<HRESULT()>&& function) : m_function(std::move(function)) {}
    // The function's result; E_FAIL without a function or when it throws.
    HRESULT Call() override;

private:
    std::function<HRESULT()> m_function;
};

// Runs `function` on the main thread and waits for it; it must not wait for the calling thread in turn.
HRESULT CallOnMainThread(TMK::ITMK_Inst* host_instance, std::function<HRESULT()>&& function);
