// The host's window of progress around a long change, with its cancel flag. Made and filled on the dialog's
// task, ended on its thread.
#pragma once

#include <string>

#include "hostapi/itmk.h"
#include "platform/com_ptr.h"

namespace Ui {

class DialogProgress {
public:
    HRESULT Start(TMK::IAUX_Inst* aux, HWND parent, const std::u16string& title,
                  const std::u16string& text = {});
    void Show(const std::u16string& text, const std::u16string& status);
    TMK::ITMK_CancelFlag* GetCancelFlag() const { return m_cancel_flag.get(); }
    bool IsCanceled() const;
    void End();

private:
    ComPtr<TMK::ITMK_Progress> m_progress;
    ComPtr<TMK::ITMK_CancelFlag> m_cancel_flag;
};

}  // namespace Ui
