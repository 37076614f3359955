#include "browse/dialog_progress.h"

#include "base/failure.h"

namespace Ui {

HRESULT DialogProgress::Start(TMK::IAUX_Inst* aux, HWND parent, const std::u16string& title,
                              const std::u16string& text) {
    TRACE_NAME("Ui::DialogProgress::Start");
    CHECK_RETURN(aux != nullptr, E_FAIL);
    ComPtr<TMK::ITMK_Progress> progress;
    CHECK_RESULT_TEXT(aux->CreateProgress(parent, progress.put()), u"aux->CreateProgress(parent, &progress)");
    CHECK_RETURN(progress != nullptr, E_FAIL);
    CHECK_RESULT(progress->put_Title(title.c_str()));
    CHECK_RESULT(progress->put_Text(text.c_str()));
    CHECK_RESULT_TEXT(progress->get_CancelFlag(m_cancel_flag.put()),
                      u"progress->get_CancelFlag(&cancel_flag)");
    CHECK_RESULT(progress->Start());
    m_progress = std::move(progress);
    return S_OK;
}

void DialogProgress::Show(const std::u16string& text, const std::u16string& status) {
    if (!m_progress) return;
    m_progress->put_Text(text.c_str());
    m_progress->put_Status(status.c_str());
}

bool DialogProgress::IsCanceled() const {
    return ::IsCanceled(m_cancel_flag.get());
}

void DialogProgress::End() {
    if (m_progress) m_progress->Stop();
    m_progress.reset();
}

}  // namespace Ui
