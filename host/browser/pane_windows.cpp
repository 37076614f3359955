#include "host/browser/pane_windows.h"

#include <algorithm>
#include <optional>
#include <pugixml.hpp>
#include <vector>

#include "host/base/give.h"
#include "host/base/interrupt.h"
#include "host/browser/without_controls.h"

namespace host {

namespace {

struct Size {
    int width;
    int height;
};

// The size of a dialog by its template; nothing when there is no such template.
std::optional<Size> FindTemplate(const TMK::UIX_CreateObjParams& parameters) {
    pugi::xml_document document;
    if (!parameters.pTemplate || !parameters.szTemplateId ||
        !document.load_buffer(parameters.pTemplate, parameters.nTemplateSize, pugi::parse_default,
                              pugi::encoding_utf8)) {
        return std::nullopt;
    }
    const auto dialog = document.child("dialogs").find_child_by_attribute(
        "dialog", "id", ToUtf8(parameters.szTemplateId).c_str());
    if (!dialog) return std::nullopt;
    return Size{dialog.attribute("width").as_int(), dialog.attribute("height").as_int()};
}

class Window;
using WindowList = std::vector<ComPtr<Window>>;

class Window final : public WithoutControls<Object<TMK::IUIX_Obj>> {
public:
    // Destroy removes it from the list.
    Window(MainThread& main_thread, WindowList& list, TMK::IUIX_ObjImpl* implementation, Size size)
        : m_main_thread(main_thread), m_list(list), m_implementation(implementation), m_size(size) {}

    HRESULT get_WndHandle(HWND* out_window) override { return GiveValue(out_window, Handle()); }
    HRESULT GetFirstHWND(HWND* out_window) override { return get_WndHandle(out_window); }
    HRESULT GetClientRect(RECT* out_rectangle) override {
        if (!out_rectangle) return E_POINTER;
        *out_rectangle = {0, 0, m_size.width, m_size.height};
        return S_OK;
    }

    HRESULT get_Parent(TMK::IUIX_Obj** out_parent) override {
        if (!out_parent) return E_POINTER;
        *out_parent = nullptr;
        return S_FALSE;
    }
    HRESULT GetRect(RECT* out_rectangle) override { return GetClientRect(out_rectangle); }
    HRESULT SetStyle(DWORD, DWORD) override { return E_NOTIMPL; }

    HRESULT DoModal(DWORD, LONGLONG* in_out_result) override {
        if (!in_out_result) return E_POINTER;
        if (!m_main_thread.IsCurrent() || m_is_modal || !m_implementation) return E_UNEXPECTED;
        const ComPtr<Window> alive(this);
        m_is_modal = true;
        m_result.reset();
        if (const HRESULT result = Send(TMK::UIX_Event_InitDialog); FAILED(result)) {
            m_is_modal = false;
            return result;
        }
        Send(TMK::UIX_Event_ShowModal);
        m_main_thread.PumpUntil([this] { return m_result || InterruptFlag(); });
        *in_out_result = m_result.value_or(0);
        m_is_modal = false;
        Send(TMK::UIX_Event_EndModal);
        return S_OK;
    }
    HRESULT EndModal(LONGLONG result) override {
        if (!m_is_modal || m_result) return S_FALSE;
        m_result = result;
        return S_OK;
    }
    HRESULT Destroy() override {
        if (!m_implementation) return S_FALSE;
        const ComPtr<Window> alive(this);
        EndModal(0);
        Send(TMK::UIX_Event_BeforeDestroy);
        m_list.erase(std::remove(m_list.begin(), m_list.end(), alive), m_list.end());
        // A second Destroy, from within this call, does nothing.
        if (const auto implementation = std::exchange(m_implementation, nullptr))
            implementation->put_Obj(nullptr);
        return S_OK;
    }

    HWND Handle() { return reinterpret_cast<HWND>(this); }
    void Resize(Size size) {
        m_size = size;
        Send(TMK::UIX_Event_Size);
    }

private:
    HRESULT Send(DWORD code) {
        const ComPtr<TMK::IUIX_ObjImpl> held = m_implementation;
        if (!held) return S_FALSE;
        TMK::UIX_Event event{};
        event.nCode = code;
        return held->OnEvent(&event);
    }

    MainThread& m_main_thread;
    WindowList& m_list;
    ComPtr<TMK::IUIX_ObjImpl> m_implementation;
    Size m_size;
    bool m_is_modal = false;
    std::optional<LONGLONG> m_result;
};

class PaneWindows final : public Windows {
public:
    explicit PaneWindows(MainThread& main_thread) : m_main_thread(main_thread) {}

    HRESULT Create(const TMK::UIX_CreateObjParams& parameters, ComPtr<TMK::IUIX_Obj>& out_window) override {
        if (!m_main_thread.IsCurrent()) return E_UNEXPECTED;
        const auto size = FindTemplate(parameters);
        if (!parameters.pImpl || !size) return E_INVALIDARG;
        const auto window = Make<Window>(m_main_thread, m_windows, parameters.pImpl, *size);
        m_windows.push_back(window);
        if (const HRESULT result = parameters.pImpl->put_Obj(window.get()); FAILED(result)) {
            window->Destroy();
            return result;
        }
        out_window = window;
        return S_OK;
    }
    bool Has(HWND handle) const override { return Find(handle) != nullptr; }
    void Resize(HWND handle, int width, int height) override {
        if (const auto window = Find(handle)) window->Resize({width, height});
    }
    void Close(HWND handle) override {
        if (const auto window = Find(handle)) window->EndModal(0);
    }
    void DestroyAll() override {
        while (!m_windows.empty()) ComPtr<Window>(m_windows.back())->Destroy();
    }

private:
    ComPtr<Window> Find(HWND handle) const {
        const auto found = std::find_if(m_windows.begin(), m_windows.end(),
                                        [&](const auto& window) { return window->Handle() == handle; });
        return found == m_windows.end() ? ComPtr<Window>() : *found;
    }

    MainThread& m_main_thread;
    WindowList m_windows;
};

}  // namespace

std::unique_ptr<Windows> MakePaneWindows(MainThread& main_thread) {
    return std::make_unique<PaneWindows>(main_thread);
}

}  // namespace host
