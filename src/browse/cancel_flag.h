// A cancel flag of the plug-in's own, for work that no flag of the host belongs to. Any thread.
#pragma once

#include <atomic>

#include "base/scaffolding.h"
#include "hostapi/common.h"

class CancelFlag final : public cCoClassUnknownT<CancelFlag, TMK::ITMK_CancelFlag> {
public:
    void Cancel() { m_is_canceled = true; }
    HRESULT get_IsCanceled(VARIANT_BOOL* out_canceled) override {
        if (!out_canceled) return E_POINTER;
        *out_canceled = m_is_canceled ? VARIANT_TRUE : VARIANT_FALSE;
        return S_OK;
    }

private:
    std::atomic<bool> m_is_canceled{false};
};
