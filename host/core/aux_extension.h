// The extension "AUX": strings as objects, the cipher for what plug-ins store, windows of progress. Any
// thread.
#pragma once

#include <memory>
#include <string>

#include "host/dialogs/progress.h"
#include "host/profile/cipher.h"
#include "host/profile/profile.h"
#include "hostapi/itmk.h"
#include "platform/com_ptr.h"

namespace host {

// `progress` outlives it. `warn` gets one line when stored texts can't be deciphered.
ComPtr<TMK::IAUX_Inst> MakeAuxExtension(std::shared_ptr<const Cipher> cipher, const ProgressMaker& progress,
                                        Warn warn);

// The key of one plug-in, by its class id.
ComPtr<TMK::ITMK_CryptKey> MakeCryptKey(std::u16string id);

// The cipher purpose under which a key's texts are enciphered.
std::string PurposeOfKey(TMK::ITMK_CryptKey* key);

}  // namespace host
