#include "host/signin/bind_context.h"

#include <mutex>

#include "host/base/failure.h"
#include "host/base/object.h"

namespace host {

namespace {

class BindContext final : public Object<TMK::IAFS_BindContext> {
public:
    BindContext(SignInPrompts& prompts, std::optional<Credentials> given, NoteRefusal note)
        : m_prompts(prompts), m_given(std::move(given)), m_note(std::move(note)) {}

    HRESULT OnGetUserAccount(void*, LPWSTR host_name, LPWSTR status_text, LPWSTR user, LPWSTR password,
                             BSTR* out_user, BSTR* out_password, void*, DWORD flags) override {
        if (!out_user || !out_password) return E_POINTER;
        return Guarded([&] {
            const std::lock_guard lock(m_mutex);
            if (flags & TMK::AFS_BindContext_NoUI)
                return Give(m_given.value_or(Credentials{}), out_user, out_password);
            const Credentials tried{FromWide(user), FromWide(password)};
            const std::u16string asking = FromWide(host_name);
            // The given credentials come back as tried ones when the server refused them.
            if (m_given && !m_used && !IsSame(*m_given, tried)) {
                m_used = true;
                m_last = {asking, m_given->user.empty() ? tried.user : m_given->user};
                return Give({m_last.user, m_given->password}, out_user, out_password);
            }
            const bool is_again = m_last.host == asking && !m_last.user.empty();
            const auto asked = m_prompts.AskCredentials(
                {asking, FromWide(status_text), tried.user.empty() && is_again ? m_last.user : tried.user});
            if (asked) {
                m_last = {asking, asked->user};
                return Give(*asked, out_user, out_password);
            }
            const bool was_tried = is_again || !tried.password.empty();
            if (m_note) {
                m_note(was_tried ? "the server refused the user name or the password"
                                 : "the server asks for a user name and a password");
            }
            return kCanceled;
        });
    }

private:
    // The last answer, offered in the next question.
    struct Answer {
        std::u16string host;
        std::u16string user;
    };

    static bool IsSame(const Credentials& a, const Credentials& b) {
        return a.user == b.user && a.password == b.password;
    }
    static HRESULT Give(const Credentials& credentials, BSTR* out_user, BSTR* out_password) {
        Bstr user(credentials.user);
        Bstr password(credentials.password);
        *out_user = user.detach();
        *out_password = password.detach();
        return S_OK;
    }

    SignInPrompts& m_prompts;
    std::mutex m_mutex;
    const std::optional<Credentials> m_given;
    const NoteRefusal m_note;
    bool m_used = false;
    Answer m_last;
};

}  // namespace

ComPtr<TMK::IAFS_BindContext> MakeBindContext(SignInPrompts& prompts, std::optional<Credentials> given,
                                              NoteRefusal note) {
    return Make<BindContext>(prompts, std::move(given), std::move(note));
}

}  // namespace host
