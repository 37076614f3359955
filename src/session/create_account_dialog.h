// Asks a person for the address of a new place and the kind of its server. Any thread; it shows itself on the
// host's main thread.
#pragma once

#include <string>

#include "dialogs/message_box.h"
#include "platform/com_ptr.h"
#include "session/account_data.h"

namespace Ui::CreateAccountDialog {

// `error` is told first, unless it is empty. `in_out_url` is the text of the field, as it was and as it is
// now. S_OK without an account when nothing was typed; E_CANCELED when the person gives up.
HRESULT Show(PluginContext& plugin, HWND window, const PromptText& error, std::u16string& in_out_url,
             ComPtr<AccountData>& account_data);

}  // namespace Ui::CreateAccountDialog
