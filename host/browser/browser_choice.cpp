#include "host/browser/browser_choice.h"

#include "host/browser/scripted_browser.h"

namespace host {

std::unique_ptr<Browser> MakeChosenBrowser(const BrowserChoice& choice, MainThread& main_thread,
                                           const Profile& profile, std::shared_ptr<const Cipher> cipher,
                                           std::function<void(const std::string&)> note) {
    if (!choice.script.empty()) return LoadScriptedBrowser(main_thread, choice.script);
    if (choice.program.empty()) return nullptr;
    return MakeWindowBrowser(main_thread, choice.program, CookieStore(profile, std::move(cipher)),
                             std::move(note));
}

}  // namespace host
