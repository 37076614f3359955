#include "host/cli/run/run.h"

#include <unistd.h>

#include <cerrno>

#include "host/base/interrupt.h"
#include "host/cli/run/json.h"
#include "host/jobs/address.h"
#include "host/jobs/error_text.h"
#include "host/jobs/places.h"

namespace cli {

Run::Run(host::Host& host, const Options& options, StatusLine& status)
    : Job(host, std::make_shared<host::Sites>(), &host::InterruptFlag(),
          "'sphost place add URL' adds its site"),
      m_options(options),
      m_status(status) {
    host.cache()->WatchTransfers([&status](const host::Transfer& transfer) {
        status.ShowTransfer(transfer.is_upload, transfer.done, transfer.total);
    });
}

std::u16string Run::Address(const std::string& argument) {
    const auto url = host::UrlInPlace(*this, argument);
    return url ? *url : host::ParseUrl(argument);
}

bool Run::IsAddress(const std::string& argument) {
    return host::LooksLikeUrl(argument) || host::UrlInPlace(*this, argument);
}

bool Run::Agrees(const Question& question, const std::string& what) {
    if (question.yes_agrees && m_options.Has("yes")) return true;
    ComPtr<TMK::ITMK_TaskDialog> dialog;
    Check(host().instance()->CreateTaskDialog(dialog.put()), what);
    dialog->put_Id(question.id);
    dialog->put_Style(TMK::TaskDialogStyle_Base | TMK::TaskDialogStyle_IconWarning);
    dialog->put_Text(host::ToUtf16(question.text).c_str());
    dialog->AddButton(question.yes);
    dialog->AddButton(question.no);
    dialog->put_DefaultButton(question.is_default ? 0 : 1);
    dialog->put_CancelButton(1);
    UINT pressed = 1;
    Check(dialog->DoModal(nullptr, &pressed), what);
    return pressed == 0;
}

void Run::RefuseUnsent(const std::u16string& url, const std::string& what) {
    using State = host::UnsentDocument::State;
    const auto unsent = host().cache()->Unsent(host::ToUtf8(url));
    if (!unsent || unsent->state == State::incomplete) return;
    RefuseOpen(url, what);
    Fail(host::kInUse, what, "earlier changes were not sent yet; 'sphost recover' sends or drops them");
}

void Run::RefuseOpen(const std::u16string& url, const std::string& what) {
    const auto unsent = host().cache()->Unsent(host::ToUtf8(url));
    if (unsent && unsent->state == host::UnsentDocument::State::editing)
        Fail(host::kInUse, what, "the document is open in another sphost; try again when that has ended");
}

void Run::ExplainName(const std::u16string& url, CommandError& error) {
    if (error.code == host::kCanceled) return;
    const std::string rule = host::BrokenNameRule(host::ToUtf8(host::LastPart(url)));
    if (!rule.empty()) error.message = rule;
    const std::string too_long = host::TooLongText(url);
    if (!too_long.empty()) error.message = too_long;
}

void Run::Out(const std::string& text) {
    const StatusLine::Pause pause(m_status);
    m_has_output = true;
    std::string_view left = text;
    while (!left.empty()) {
        const ssize_t written = write(STDOUT_FILENO, left.data(), left.size());
        if (written < 0 && errno == EINTR) continue;
        if (written < 0)
            Fail(host::ResultOfErrno(errno), m_options.command, "can't write to standard output");
        left.remove_prefix(static_cast<std::size_t>(written));
    }
}

void Run::Say(const std::string& line) {
    if (m_options.Has("json")) {
        m_said.push_back(line);
    } else {
        Out(line + "\n");
    }
}

void Run::Finish() {
    if (!m_options.Has("json") || m_has_output) return;
    JsonText json;
    json.StartObject().Key("command").String(m_options.command);
    json.Key("arguments").StartArray();
    for (const std::string& argument : m_options.arguments) json.String(argument);
    json.EndArray().Key("messages").StartArray();
    for (const std::string& line : m_said) json.String(line);
    json.EndArray().EndObject();
    Out(json.Take());
}

std::string ReadSecretLine(const std::string& what) {
    std::string line;
    char byte = 0;
    constexpr std::size_t kLongest = 64 * 1024;
    while (line.size() < kLongest) {
        const ssize_t got = read(STDIN_FILENO, &byte, 1);
        if (got < 0 && errno == EINTR && !host::InterruptFlag()) continue;
        if (got <= 0 || byte == '\n') break;
        line += byte;
    }
    while (line.ends_with('\r')) line.pop_back();
    if (line.empty()) throw CommandError{what, E_INVALIDARG, "standard input holds no line with the secret"};
    return line;
}

std::string What(const Options& options, const std::string& argument) {
    return options.command + " " + host::PlainLine(argument);
}

}  // namespace cli
