// The library's embedded resources: the string catalogue, templates and pictures.
#pragma once

#include "hostapi/settings.h"
#include "platform/com_ptr.h"
#include "platform/resources.h"

enum ResourceId : WORD {
    IDR_DIALOGS_XML = 101,
    IDR_LOCALIZATION_XML,
    IDR_SETTINGS_CAB_XML,
    IDR_ICON_16_PNG,
    IDR_ICON_24_PNG,
    IDR_ICON_32_PNG,
    IDR_ICON_48_PNG,
    IDR_ACCOUNT_DATA_CAB_XML,
    IDR_OPEN_SAVE_DIALOG_PARAMETERS_CAB_XML,
};

// Bytes of a resource of this library, valid as long as the library is loaded; null data when there is none.
struct ResourceData {
    const void* data = nullptr;
    DWORD size = 0;
};
ResourceData FindResourceData(WORD id, LPCWSTR type);

// An in-memory stream over a copy of the resource; null when it is missing or empty.
ComPtr<IStream> LoadResourceStream(WORD id, LPCWSTR type);

// Shapes a settings tree by an XML resource of this library.
HRESULT ApplyCabTemplate(TMK::ITMK_Cab* o_cab, WORD resource_id, LPCWSTR i_template_name);
