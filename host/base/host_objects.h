// Small objects for calls of a plug-in: cancel flag, error details, progress monitor.
// Counted; any thread.
#pragma once

#include <atomic>
#include <functional>
#include <mutex>
#include <string>

#include "host/base/give.h"
#include "hostapi/common.h"

namespace host {

class CancelFlag final : public Object<TMK::ITMK_CancelFlag> {
public:
    // Also set when `source` is, which must outlive it.
    explicit CancelFlag(const std::atomic<bool>* source = nullptr) : m_source(source) {}
    void Cancel() { m_set = true; }
    bool IsSet() const { return m_set || (m_source && *m_source); }
    HRESULT get_IsCanceled(VARIANT_BOOL* out_canceled) override { return GiveBool(out_canceled, IsSet()); }

private:
    std::atomic<bool> m_set{false};
    const std::atomic<bool>* m_source;
};

inline bool IsCanceled(TMK::ITMK_CancelFlag* flag) {
    VARIANT_BOOL canceled = VARIANT_FALSE;
    return flag && SUCCEEDED(flag->get_IsCanceled(&canceled)) && canceled != VARIANT_FALSE;
}

class ErrorDetails final : public Object<TMK::ITMK_ErrorDetails> {
public:
    HRESULT put_Text(LPCWSTR text) override {
        return Guarded([&] {
            const std::lock_guard lock(m_mutex);
            m_text = ToUtf8(FromWide(text));
            return S_OK;
        });
    }
    HRESULT Clear() override {
        const std::lock_guard lock(m_mutex);
        m_text.clear();
        return S_OK;
    }
    std::string Text() const {
        const std::lock_guard lock(m_mutex);
        return m_text;
    }

private:
    mutable std::mutex m_mutex;
    std::string m_text;
};

// Passes on the progress of an operation.
class ProgressMonitor final : public Object<TMK::ITMK_ProgressMon> {
public:
    using Show = std::function<void(std::uint64_t position, std::uint64_t total)>;
    explicit ProgressMonitor(Show show) : m_show(std::move(show)) {}
    HRESULT SetTotal(ULONGLONG total) override {
        m_total = total;
        return S_OK;
    }
    HRESULT SetPosition(ULONGLONG position) override {
        return Guarded([&] {
            m_show(position, m_total);
            return S_OK;
        });
    }

private:
    Show m_show;
    std::atomic<std::uint64_t> m_total{0};
};

}  // namespace host
