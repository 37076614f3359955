#include "host/dialogs/dialogs.h"

#include <algorithm>

#include "host/base/failure.h"

namespace host {

Dialogs::Dialogs(MainThread& main_thread, Windows& panes, Workbench& workbench, DialogViews* views)
    : m_main_thread(main_thread), m_panes(panes), m_workbench(workbench) {
    if (views) m_around.emplace(DialogSurroundings{main_thread, workbench.around(), *views});
}

Dialogs::~Dialogs() {
    DestroyAll();
}

HRESULT Dialogs::Create(const TMK::UIX_CreateObjParams& parameters, ComPtr<TMK::IUIX_Obj>& out_object) {
    if (!m_main_thread.IsCurrent()) return E_UNEXPECTED;
    if (parameters.szClass) return CreateControl(parameters, out_object);
    if (!parameters.pImpl || !parameters.pTemplate || !parameters.szTemplateId) return E_INVALIDARG;
    DialogTemplate shape = ReadDialogTemplate(
        {static_cast<const char*>(parameters.pTemplate), parameters.nTemplateSize}, parameters.szTemplateId);
    if (shape.controls.empty()) return m_panes.Create(parameters, out_object);
    if (!m_around) {
        throw Failure(E_NOTIMPL, "the window '" + ToUtf8(shape.id) +
                                     "' can't be shown in a terminal; use the editor, sphost-editor");
    }
    out_object = MakeWindow(std::move(shape), *parameters.pImpl);
    return S_OK;
}

ComPtr<DialogWindow> Dialogs::MakeWindow(DialogTemplate shape, TMK::IUIX_ObjImpl& implementation) {
    const std::string id = ToUtf8(shape.id);
    auto window = Make<DialogWindow>(*m_around, std::move(shape), ComPtr<TMK::IUIX_ObjImpl>(&implementation));
    m_windows.push_back(window);
    window->OnDestroyed([this, raw = window.get()] { Forget(*raw); });
    if (const HRESULT result = implementation.put_Obj(window.get()); FAILED(result)) {
        window->Destroy();
        throw Failure(result, "the window '" + id + "' was refused by its plug-in");
    }
    return window;
}

ComPtr<PreferencePages> Dialogs::OpenPreferences() {
    if (!m_around) return nullptr;
    auto pages = Make<PreferencePages>(m_around->workbench.catalogue,
                                       [this](DialogTemplate shape, TMK::IUIX_ObjImpl& implementation) {
                                           return MakeWindow(std::move(shape), implementation);
                                       });
    m_workbench.events().Raise(m_workbench.atoms().Of(u"e.customizePropDialog"), pages.get());
    return pages;
}

HRESULT Dialogs::CreateControl(const TMK::UIX_CreateObjParams& parameters,
                               ComPtr<TMK::IUIX_Obj>& out_object) {
    auto* const window = dynamic_cast<DialogWindow*>(parameters.pParent);
    if (!window) return E_INVALIDARG;
    if (std::u16string_view(parameters.szClass) != u"WaitProgress")
        throw Failure(E_INVALIDARG, "a control of the unknown kind '" + ToUtf8(parameters.szClass) + "'");
    const RECT& place = parameters.rcPlace;
    ControlTemplate shape;
    shape.kind = ControlKind::WaitProgress;
    shape.place = {place.left, place.top, place.right - place.left, place.bottom - place.top};
    shape.style = parameters.nStyle;
    const ComPtr<Control> control = window->Add(shape);
    out_object = control;
    return parameters.pImpl ? parameters.pImpl->put_Obj(control.get()) : S_OK;
}

void Dialogs::Forget(DialogWindow& window) {
    std::erase_if(m_windows, [&](const auto& known) { return known.get() == &window; });
}

void Dialogs::DestroyAll() {
    while (!m_windows.empty()) ComPtr<DialogWindow>(m_windows.back())->Destroy();
}

}  // namespace host
