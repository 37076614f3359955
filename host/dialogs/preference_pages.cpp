#include "host/dialogs/preference_pages.h"

#include <algorithm>
#include <utility>

#include "host/base/give.h"

namespace host {

PreferencePages::PreferencePages(const Catalogue& catalogue, Maker maker)
    : m_catalogue(catalogue), m_maker(std::move(maker)) {}

HRESULT PreferencePages::get_ID(BSTR* out_id) {
    return GiveString(out_id, u"DlgAppPrefs");
}

HRESULT PreferencePages::InsertPage(IUnknown* page, LPCWSTR name, LPCWSTR before, DWORD) {
    if (!page || !name) return E_INVALIDARG;
    return Guarded([&] {
        const auto own = ComPtr<IUnknown>(page).as<TMK::IUIX_PropPage>();
        return own ? Insert(own, name, FromWide(before)) : E_INVALIDARG;
    });
}

HRESULT PreferencePages::Insert(const ComPtr<TMK::IUIX_PropPage>& page, const std::u16string& name,
                                std::u16string_view before) {
    const auto implementation = page.as<TMK::IUIX_ObjImpl>();
    const auto find = [&](std::u16string_view wanted) {
        return std::find_if(m_pages.begin(), m_pages.end(),
                            [&](const PreferencePage& known) { return known.name == wanted; });
    };
    LPCVOID document = nullptr;
    DWORD size = 0;
    if (!implementation || find(name) != m_pages.end() || FAILED(page->get_Template(&document, &size)))
        return E_INVALIDARG;
    DialogTemplate shape = ReadDialogTemplate({static_cast<const char*>(document), size}, name);
    const std::u16string title = m_catalogue.Resolve(u"$$$." + shape.product + u"." + name);
    const ComPtr<DialogWindow> window = m_maker(std::move(shape), *implementation);
    if (const HRESULT result = window->Open(); FAILED(result)) {
        window->Destroy();
        return result;
    }
    m_pages.insert(find(before), {name, title, window, page});
    return S_OK;
}

HRESULT PreferencePages::Apply() {
    HRESULT first = S_OK;
    for (const PreferencePage& page : m_pages) {
        const HRESULT result = page.page->Apply();
        if (FAILED(result) && SUCCEEDED(first)) first = result;
    }
    return first;
}

void PreferencePages::Close() {
    for (const PreferencePage& page : std::exchange(m_pages, {})) page.window->Destroy();
}

}  // namespace host
