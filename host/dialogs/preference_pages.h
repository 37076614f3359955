// The pages that plug-ins put into the window of preferences, before anything shows them. Main thread only.
#pragma once

#include <functional>
#include <vector>

#include "host/dialogs/dialog_window.h"
#include "hostapi/ieditor.h"

namespace host {

struct PreferencePage {
    std::u16string name;
    std::u16string title;
    ComPtr<DialogWindow> window;
    ComPtr<TMK::IUIX_PropPage> page;
};

class PreferencePages final : public Object<TMK::IUIX_PropSheets> {
public:
    // Makes the window of a page from its template.
    using Maker = std::function<ComPtr<DialogWindow>(DialogTemplate shape, TMK::IUIX_ObjImpl& page)>;
    PreferencePages(const Catalogue& catalogue, Maker maker);

    HRESULT get_ID(BSTR* out_id) override;
    HRESULT InsertPage(IUnknown* page, LPCWSTR name, LPCWSTR before, DWORD flags) override;

    const std::vector<PreferencePage>& pages() const { return m_pages; }
    // The first failure, after all pages were asked.
    HRESULT Apply();
    // The pages are gone, and with them what was not applied.
    void Close();

private:
    HRESULT Insert(const ComPtr<TMK::IUIX_PropPage>& page, const std::u16string& name,
                   std::u16string_view before);

    const Catalogue& m_catalogue;
    const Maker m_maker;
    std::vector<PreferencePage> m_pages;
};

}  // namespace host
