#include "host/prompts/prompt_desk.h"

#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <algorithm>
#include <charconv>

#include "host/base/failure.h"

namespace host {

namespace {

std::string WithoutNamespace(std::string_view id) {
    if (id.starts_with("$$$.")) id.remove_prefix(4);
    if (id.starts_with("sp.")) id.remove_prefix(3);
    return std::string(id);
}

[[noreturn]] void Refuse(const Prompt& prompt, const std::string& why) {
    throw Failure(E_INVALIDARG, "the answer to " + prompt.id + " " + why);
}

unsigned FindButton(const Prompt& prompt, const std::string& button) {
    if (const auto index = ParseIndex(button)) {
        if (*index >= prompt.buttons.size()) Refuse(prompt, "names button " + button + ", which isn't there");
        return *index;
    }
    const auto found = std::find_if(prompt.buttons.begin(), prompt.buttons.end(), [&](const std::string& id) {
        return WithoutNamespace(id) == WithoutNamespace(button);
    });
    if (found == prompt.buttons.end()) Refuse(prompt, "names button '" + button + "', which isn't there");
    return static_cast<unsigned>(found - prompt.buttons.begin());
}

// Fills the answer in and returns the button that it names.
unsigned Apply(const PromptAnswer& answer, Prompt& prompt) {
    const unsigned pressed = FindButton(prompt, answer.button);
    if (answer.check) {
        if (prompt.check_id.empty()) Refuse(prompt, "ticks a box that isn't there");
        prompt.checked = *answer.check;
    }
    if (answer.radio) {
        if (*answer.radio >= prompt.radios.size()) Refuse(prompt, "chooses a kind that isn't there");
        prompt.radio = *answer.radio;
    }
    if (answer.text) {
        if (!prompt.has_edit) Refuse(prompt, "gives a text that isn't asked for");
        prompt.edit_text = *answer.text;
    }
    return pressed;
}

}  // namespace

std::optional<unsigned> ParseIndex(std::string_view text) {
    unsigned number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc{} || end != text.data() + text.size()) return std::nullopt;
    return number;
}

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
    const bool is_new = !fs::exists(file);
    m_log.open(file, std::ios::binary | std::ios::app);
    if (!m_log) throw Failure(E_ACCESSDENIED, "can't open " + file.string());
    if (is_new) fs::permissions(file, fs::perms::owner_read | fs::perms::owner_write);
    m_log_path = file;
}

std::optional<PromptAnswer> PromptDesk::TakeAnswer(const std::string& id) {
    const std::lock_guard lock(m_mutex);
    const auto found = m_answers.find(WithoutNamespace(id));
    if (id.empty() || found == m_answers.end()) return std::nullopt;
    PromptAnswer answer = found->second.front();
    if (found->second.size() > 1) found->second.pop_front();
    return answer;
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
    } else if (m_prompter.CanAsk()) {
        pressed = m_prompter.Ask(prompt);
    }
    Log(prompt, pressed);
    const std::lock_guard lock(m_mutex);
    m_outcomes[WithoutNamespace(prompt.id)] = {pressed == prompt.cancel_button, pressed, prompt.radio};
    return pressed;
}

std::optional<PromptOutcome> PromptDesk::LastOutcome(std::string_view id) const {
    const std::lock_guard lock(m_mutex);
    const auto found = m_outcomes.find(WithoutNamespace(id));
    return found == m_outcomes.end() ? std::nullopt : std::optional(found->second);
}

void PromptDesk::Log(const Prompt& prompt, unsigned pressed) {
    if (!m_log.is_open()) return;
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
    text("text", PlainText(prompt.text));
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
    if (!(m_log << line << std::flush)) m_warn("can't write the prompt log " + m_log_path.string());
}

}  // namespace host
