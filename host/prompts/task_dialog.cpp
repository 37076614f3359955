// Prompts on the terminal and by script.
// A dialog by one thread; the desk by any.
#include "host/prompts/task_dialog.h"

#include <fcntl.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>

#include "host/base/failure.h"
#include "host/base/object.h"

namespace host {

namespace {

std::string WithoutNamespace(std::string_view id) {
    if (id.starts_with("$$$.")) id.remove_prefix(4);
    if (id.starts_with("sp.")) id.remove_prefix(3);
    return std::string(id);
}

std::optional<unsigned> ParseIndex(std::string_view text) {
    unsigned number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc{} || end != text.data() + text.size()) return std::nullopt;
    return number;
}

// "&Open\n- explanation" as one line: "Open - explanation".
std::string ButtonText(std::string_view text) {
    std::string plain;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '&') {
            if (i + 1 < text.size() && text[i + 1] == '&') plain += text[i++];
            continue;
        }
        plain += text[i];
    }
    return PlainLine(plain);
}

}  // namespace

std::optional<std::pair<std::string, PromptAnswer>> ParseAnswer(std::string_view argument) {
    const std::size_t equals = argument.find('=');
    if (equals == std::string_view::npos || equals == 0) return std::nullopt;
    const std::string id(argument.substr(0, equals));
    std::string_view rest = argument.substr(equals + 1);
    PromptAnswer answer;
    const auto take = [&rest] {
        const std::size_t comma = rest.find(',');
        const std::string_view part = rest.substr(0, comma);
        rest = comma == std::string_view::npos ? std::string_view() : rest.substr(comma + 1);
        return part;
    };
    answer.button = take();
    if (answer.button.empty()) return std::nullopt;
    while (!rest.empty()) {
        if (rest.starts_with("text=")) {
            answer.text = rest.substr(5);
            break;
        }
        const std::string_view part = take();
        if (part == "check") {
            answer.check = true;
        } else if (part.starts_with("radio=")) {
            answer.radio = ParseIndex(part.substr(6));
            if (!answer.radio) return std::nullopt;
        } else {
            return std::nullopt;
        }
    }
    return std::pair(id, answer);
}

void PromptDesk::AddAnswer(const std::string& id, PromptAnswer answer) {
    const std::lock_guard lock(m_mutex);
    m_answers[WithoutNamespace(id)].push_back(std::move(answer));
}

void PromptDesk::LogTo(const fs::path& file) {
    m_log = OpenFile(file, O_WRONLY | O_CREAT | O_APPEND);
    m_log_path = file;
}

// Answers of one id are used in their order, and the last one stays.
std::optional<PromptAnswer> PromptDesk::TakeAnswer(const std::string& id) {
    const std::lock_guard lock(m_mutex);
    const auto found = m_answers.find(WithoutNamespace(id));
    if (id.empty() || found == m_answers.end()) return std::nullopt;
    PromptAnswer answer = found->second.front();
    if (found->second.size() > 1) found->second.pop_front();
    return answer;
}

unsigned PromptDesk::Apply(const PromptAnswer& answer, Prompt& prompt) const {
    const auto refuse = [&](const std::string& why) {
        throw Failure(E_INVALIDARG, "the answer to " + prompt.id + " " + why);
    };
    unsigned pressed = 0;
    if (const auto index = ParseIndex(answer.button)) {
        pressed = *index;
        if (pressed >= prompt.buttons.size()) refuse("names button " + answer.button + ", which isn't there");
    } else {
        const std::string wanted = WithoutNamespace(answer.button);
        const auto found =
            std::find_if(prompt.buttons.begin(), prompt.buttons.end(),
                         [&](const std::string& id) { return WithoutNamespace(id) == wanted; });
        if (found == prompt.buttons.end()) refuse("names button '" + answer.button + "', which isn't there");
        pressed = static_cast<unsigned>(found - prompt.buttons.begin());
    }
    if (answer.check) {
        if (prompt.check_id.empty()) refuse("ticks a box that isn't there");
        prompt.checked = *answer.check;
    }
    if (answer.radio) {
        if (*answer.radio >= prompt.radios.size()) refuse("chooses a kind that isn't there");
        prompt.radio = *answer.radio;
    }
    if (answer.text) {
        if (!prompt.has_edit) refuse("gives a text that isn't asked for");
        prompt.edit_text = *answer.text;
    }
    return pressed;
}

unsigned PromptDesk::AskPerson(Prompt& prompt) {
    const std::lock_guard lock(m_terminal.mutex());
    const auto choose = [&](const std::vector<std::string>& texts, unsigned preset,
                            const char* question) -> std::optional<unsigned> {
        for (std::size_t i = 0; i < texts.size(); ++i) {
            m_terminal.Tell("  " + std::to_string(i + 1) + ") " + texts[i]);
        }
        for (;;) {
            const auto line =
                m_terminal.Ask(std::string(question) + " [" + std::to_string(preset + 1) + "]: ", true);
            if (!line) return std::nullopt;
            if (line->empty()) return preset;
            const auto number = ParseIndex(*line);
            if (number && *number >= 1 && *number <= texts.size()) return *number - 1;
            m_terminal.Tell("Please answer with a number from 1 to " + std::to_string(texts.size()) + ".");
        }
    };
    m_terminal.Tell("");
    m_terminal.Tell(prompt.text);
    const auto pressed = choose(prompt.button_texts, prompt.default_button, "Your choice");
    if (!pressed || *pressed == prompt.cancel_button) return pressed.value_or(prompt.cancel_button);
    if (!prompt.radios.empty()) {
        const auto radio = choose(prompt.radio_texts, prompt.radio, "Kind");
        if (!radio) return prompt.cancel_button;
        prompt.radio = *radio;
    }
    if (prompt.has_edit) {
        const std::string preset = prompt.edit_text.empty() ? "" : " [" + PlainLine(prompt.edit_text) + "]";
        const auto text = m_terminal.Ask(prompt.edit_text_label + preset + " ", true);
        if (!text) return prompt.cancel_button;
        if (!text->empty()) prompt.edit_text = *text;
    }
    if (!prompt.check_id.empty()) {
        const auto line =
            m_terminal.Ask(prompt.check_text + (prompt.checked ? " [Y/n]: " : " [y/N]: "), true);
        if (!line) return prompt.cancel_button;
        if (!line->empty()) prompt.checked = line->front() == 'y' || line->front() == 'Y';
    }
    return *pressed;
}

unsigned PromptDesk::Decide(Prompt& prompt) {
    unsigned pressed = prompt.cancel_button;
    if (const auto answer = TakeAnswer(prompt.id)) {
        try {
            pressed = Apply(*answer, prompt);
        } catch (const Failure& failure) {
            m_warn(failure.what());
            throw;
        }
    } else if (m_yes) {
        pressed = prompt.default_button;
    } else if (m_terminal.CanAsk()) {
        pressed = AskPerson(prompt);
    }
    Log(prompt, pressed);
    return pressed;
}

void PromptDesk::Log(const Prompt& prompt, unsigned pressed) {
    if (!m_log) return;
    rapidjson::StringBuffer buffer;
    rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
    const auto list = [&](const char* key, const std::vector<std::string>& ids) {
        writer.Key(key);
        writer.StartArray();
        for (const auto& id : ids) writer.String(id.c_str());
        writer.EndArray();
    };
    const auto text = [&](const char* key, const std::string& value) {
        writer.Key(key);
        writer.String(value.data(), static_cast<rapidjson::SizeType>(value.size()));
    };
    const auto number = [&](const char* key, unsigned value) {
        writer.Key(key);
        writer.Uint(value);
    };
    writer.StartObject();
    text("id", prompt.id);
    number("style", prompt.style);
    text("text", prompt.text);
    list("buttons", prompt.buttons);
    number("default", prompt.default_button);
    number("cancel", prompt.cancel_button);
    text("check", prompt.check_id);
    writer.Key("checked");
    writer.Bool(prompt.checked);
    list("radios", prompt.radios);
    number("radio", prompt.radio);
    text("edit", prompt.edit_id);
    text("editText", prompt.edit_text);
    number("pressed", pressed);
    text("pressedId", pressed < prompt.buttons.size() ? prompt.buttons[pressed] : "");
    writer.EndObject();
    const std::string line = std::string(buffer.GetString(), buffer.GetSize()) + "\n";
    const std::lock_guard lock(m_mutex);
    if (write(m_log->get(), line.data(), line.size()) != static_cast<ssize_t>(line.size())) {
        m_warn("can't write the prompt log " + m_log_path.string());
    }
}

namespace {

class TaskDialog final : public Object<TMK::ITMK_TaskDialog> {
public:
    TaskDialog(PromptDesk& desk, const Catalogue& catalogue) : m_desk(desk), m_catalogue(catalogue) {}

    HRESULT put_Id(LPCWSTR text_id) override {
        return Keep([&] { m_prompt.id = ToUtf8(FromWide(text_id)); });
    }
    HRESULT put_Style(DWORD style) override {
        m_prompt.style = style;
        return S_OK;
    }
    HRESULT put_Text(LPCWSTR text) override {
        return Keep([&] { m_prompt.text = PlainText(ToUtf8(m_catalogue.Resolve(FromWide(text)))); });
    }
    HRESULT AddButton(LPCWSTR text_id) override {
        if (!text_id) return E_INVALIDARG;
        return Keep([&] {
            m_prompt.buttons.push_back(Id(text_id));
            m_prompt.button_texts.push_back(ButtonText(Show(text_id)));
        });
    }
    HRESULT put_CancelButton(UINT index) override {
        m_cancel = index;
        return S_OK;
    }
    HRESULT put_DefaultButton(UINT index) override {
        m_prompt.default_button = index;
        return S_OK;
    }
    HRESULT put_Check(LPCWSTR text_id, VARIANT_BOOL checked) override {
        return Keep([&] {
            m_prompt.check_id = Id(text_id);
            m_prompt.check_text = ButtonText(Show(text_id));
            m_prompt.checked = checked != VARIANT_FALSE;
        });
    }
    HRESULT AddRadio(LPCWSTR text_id) override {
        if (!text_id) return E_INVALIDARG;
        return Keep([&] {
            m_prompt.radios.push_back(Id(text_id));
            m_prompt.radio_texts.push_back(ButtonText(Show(text_id)));
        });
    }
    HRESULT put_Radio(UINT index) override {
        m_prompt.radio = index;
        return S_OK;
    }
    HRESULT put_Edit(LPCWSTR label_id, LPCWSTR text) override {
        return Keep([&] {
            m_prompt.has_edit = true;
            m_prompt.edit_id = Id(label_id);
            m_prompt.edit_text_label = ButtonText(Show(label_id));
            m_prompt.edit_text = ToUtf8(FromWide(text));
        });
    }
    HRESULT DoModal(HWND, UINT* out_button) override {
        if (!out_button) return E_POINTER;
        return Guarded([&] {
            if (m_prompt.buttons.empty()) AddButton(u"btn.close");
            const auto last = static_cast<unsigned>(m_prompt.buttons.size() - 1);
            m_prompt.cancel_button = std::min<unsigned>(m_cancel.value_or(last), last);
            m_prompt.default_button = std::min(m_prompt.default_button, last);
            *out_button = m_desk.Decide(m_prompt);
            return S_OK;
        });
    }
    HRESULT get_Checked(VARIANT_BOOL* out_checked) override {
        if (!out_checked) return E_POINTER;
        *out_checked = m_prompt.checked ? VARIANT_TRUE : VARIANT_FALSE;
        return S_OK;
    }
    HRESULT get_Radio(UINT* out_index) override {
        if (!out_index) return E_POINTER;
        *out_index = m_prompt.radio;
        return S_OK;
    }
    HRESULT get_EditText(BSTR* out_text) override {
        return Guarded([&] { return GiveString(out_text, ToUtf16(m_prompt.edit_text)); });
    }

private:
    template <class Work>
    HRESULT Keep(Work&& work) {
        return Guarded([&] {
            work();
            return S_OK;
        });
    }
    static std::string Id(LPCWSTR text_id) {
        const std::string id = ToUtf8(FromWide(text_id));
        return id.starts_with("$$$.") ? id.substr(4) : id;
    }
    std::string Show(LPCWSTR text_id) const {
        const std::u16string id = FromWide(text_id);
        return ToUtf8(m_catalogue.Find(id).value_or(id));
    }

    PromptDesk& m_desk;
    const Catalogue& m_catalogue;
    Prompt m_prompt;
    std::optional<unsigned> m_cancel;
};

}  // namespace

ComPtr<TMK::ITMK_TaskDialog> MakeTaskDialog(PromptDesk& desk, const Catalogue& catalogue) {
    return Make<TaskDialog>(desk, catalogue);
}

}  // namespace host
