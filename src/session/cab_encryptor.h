// Strings of a settings node that are kept enciphered. The cipher and its key are the host's.
#pragma once

#include <string>

#include "hostapi/settings.h"

class PluginContext;

namespace CabEncryptor {

// An empty value is stored as an empty string. A failing step is the result; the field is then empty.
HRESULT SaveEncryptedString(PluginContext* i_plugin, TMK::ITMK_CabNode* cab, LPCWSTR pzsFieldName,
                            const std::u16string& value);

// A stored text that is no ciphertext reads back as it stands; one that can't be deciphered is a failure.
HRESULT LoadEncryptedString(PluginContext* i_plugin, TMK::ITMK_CabNode* cab, LPCWSTR pzsFieldName,
                            std::u16string& value);

}  // namespace CabEncryptor
