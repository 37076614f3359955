// The plug-in's half of a window for tests: notes the events and lets a test act on them. Main thread only.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "host/base/object.h"
#include "hostapi/iuix.h"
#include "platform/com_ptr.h"

namespace host::testing {

struct TestDialog final : Object<TMK::IUIX_ObjImpl> {
    HRESULT put_Obj(TMK::IUIX_Obj* object) override {
        window = ComPtr<TMK::IUIX_Obj>(object);
        return S_OK;
    }
    HRESULT OnEvent(TMK::UIX_Event* event) override {
        events.push_back(event->nCode);
        if (event->nCode == TMK::UIX_Event_Notify) notes.emplace_back(event->nParam1, event->nParam2);
        const auto found = on.find(event->nCode);
        return found == on.end() ? S_OK : found->second(*event);
    }

    HRESULT Create(TMK::IUIX_Inst& maker, std::string_view xml, LPCWSTR id) {
        TMK::UIX_CreateObjParams parameters{};
        parameters.pImpl = this;
        parameters.pTemplate = xml.data();
        parameters.nTemplateSize = static_cast<DWORD>(xml.size());
        parameters.szTemplateId = id;
        return maker.CreateObj(&parameters, nullptr);
    }

    ComPtr<TMK::IUIX_Obj> window;
    std::vector<DWORD> events;
    std::vector<std::pair<DWORD_PTR, DWORD_PTR>> notes;  // which control, what happened
    std::map<DWORD, std::function<HRESULT(TMK::UIX_Event&)>> on;
};

}  // namespace host::testing
