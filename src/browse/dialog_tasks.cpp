// The dialog's one task: its start, its end, and what shows that it runs.
#include "base/failure.h"
#include "base/operation_scope.h"
#include "base/text/encoding.h"
#include "browse/dialog.h"
#include "platform/window_messages.h"

namespace Ui {

bool Dialog::AsyncStart(std::function<void()> i_function, const char* i_function_name) {
    TRACE_NAME("Ui::Dialog::AsyncStart");
    const std::u16string name = Widen(i_function_name);
    try {
        if (IsTaskRunning()) {
            LOG_LINE(Log::error,
                     u"Failed to start async function '%s' while current async operation is in progress",
                     name);
            return false;
        }
        LOG_LINE(Log::verbose, u"Starting async function '%s'", name);
        if (m_pObj) m_pObj->get_WndHandle(&m_window);
        m_async_cancel = MakeObject<CancelFlag>();
        m_async = std::async(std::launch::async, [flag = m_async_cancel, work = std::move(i_function)] {
            const OperationScope operation_scope(flag.get());
            work();
        });
        LOG_LINE(Log::verbose, u"Started async function '%s'", name);
        UpdateCommandBar();
        return true;
    } catch (...) {
        LOG_LINE(Log::error, u"Failed to start async function '%s'", name);
        return false;
    }
}

HRESULT Dialog::AsyncComplete(Function i_function, const char* i_function_name) {
    TRACE_NAME("Ui::Dialog::AsyncComplete");
    CHECK_RETURN_TEXT(m_window != nullptr, E_UNEXPECTED, u"m_pObj != nullptr");
    auto context =
        std::make_unique<AsyncCallbackContext>(AsyncCallbackContext{std::move(i_function), i_function_name});
    const auto parameter = reinterpret_cast<WPARAM>(context.get());
    {
        const std::lock_guard lock(m_complete_lock);
        m_complete = std::move(context);
    }
    if (PostMessageW(m_window, EventCodes::async_complete, parameter, 0)) return S_OK;
    const HRESULT failure = HRESULT_FROM_WIN32(GetLastError());
    const std::lock_guard lock(m_complete_lock);
    m_complete.reset();
    CHECK_RESULT_TEXT(failure,
                      u"PostMessageW(reinterpret_cast<HWND>(window), EventCodes::async_complete, "
                      u"reinterpret_cast<WPARAM>(new AsyncCallbackContext(i_function, i_function_name)), 0)");
    return E_FAIL;
}

HRESULT Dialog::OnAsyncComplete(const TMK::UIX_Event* i_event) {
    TRACE_NAME("Ui::Dialog::OnAsyncComplete");
    CHECK_RETURN(i_event != nullptr && i_event->nParam1 != 0, E_INVALIDARG);
    std::unique_ptr<AsyncCallbackContext> context;
    {
        const std::lock_guard lock(m_complete_lock);
        CHECK_RETURN(m_complete && reinterpret_cast<DWORD_PTR>(m_complete.get()) == i_event->nParam1,
                     E_INVALIDARG);
        context = std::move(m_complete);
    }
    const std::u16string name = Widen(context->function_name);
    if (m_async.valid() && m_async.wait_for(std::chrono::seconds(0)) != std::future_status::ready) {
        LOG_LINE(Log::verbose, u"Waiting for async result to call complete function '%s'", name);
        m_async.wait();
    }
    LOG_LINE(Log::verbose, u"Calling complete function '%s'", name);
    const HRESULT result = context->function();
    if (m_end_pending) {
        LOG_LINE(Log::verbose, u"Closing dialog with ID %d", m_end_id);
        EndModal(m_end_id);
    }
    return result;
}

// A task whose end is not handled yet still counts.
bool Dialog::IsTaskRunning() {
    if (!m_async.valid()) return false;
    const std::lock_guard lock(m_complete_lock);
    return m_complete || m_async.wait_for(std::chrono::seconds(0)) != std::future_status::ready;
}

// For a window that is gone without having been asked.
void Dialog::EndTask() {
    if (m_async_cancel) m_async_cancel->Cancel();
    if (m_async.valid()) m_async.wait();
    m_async = {};
    const std::lock_guard lock(m_complete_lock);
    m_complete.reset();
}

void Dialog::BeginBusy() {
    if (++m_busy != 1) return;
    if (m_progress) m_progress->Start();
    PostProgress(true);
}

void Dialog::EndBusy() {
    if (m_busy == 0 || --m_busy != 0) return;
    if (m_progress) m_progress->Stop();
    PostProgress(false);
}

void Dialog::PostProgress(bool show) {
    HWND window = nullptr;
    if (m_pObj && SUCCEEDED(m_pObj->get_WndHandle(&window)))
        PostMessageW(window, EventCodes::show_progress, show ? 1 : 0, 0);
}

}  // namespace Ui
