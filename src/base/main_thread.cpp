#include "base/main_thread.h"

#include "base/failure.h"

HRESULT ThreadSafeCall::Call() {
    TRACE_NAME("ThreadSafeCall::Call");
    try {
        return m_function ? m_function() : E_FAIL;
    } catch (...) {
        LOG_LINE(Log::error, u"function has thrown");
        return E_FAIL;
    }
}

HRESULT CallOnMainThread(TMK::ITMK_Inst* host_instance, std::function<HRESULT()>&& function) {
    TRACE_NAME("CallOnMainThread");
    CHECK_RETURN(host_instance != nullptr, E_INVALIDARG);
    const auto call = MakeObject<ThreadSafeCall>(std::exchange(function, nullptr));
    const HRESULT result = host_instance->RunOnMainThread(call.get(), 0, VARIANT_TRUE);
    if (FAILED(result)) LOG_LINE(Log::error, u"ThreadSafeCall::Call()=(HRESULT)%d", result);
    return result;
}
