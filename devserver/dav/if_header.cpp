#include "dav/if_header.h"

#include <algorithm>

#include "base/text.h"
#include "dav/dav_error.h"

namespace devserver::dav {
namespace {

class Reader {
public:
    explicit Reader(std::string_view text) : m_text(text) {}

    bool at_end() {
        skip_blanks();
        return m_text.empty();
    }
    bool take(char c) {
        skip_blanks();
        if (m_text.empty() || m_text.front() != c) return false;
        m_text.remove_prefix(1);
        return true;
    }
    bool take_word(std::string_view word) {
        skip_blanks();
        if (!starts_with_ignoring_case(m_text, word)) return false;
        m_text.remove_prefix(word.size());
        return true;
    }
    std::string until(char c) {
        auto end = m_text.find(c);
        if (end == std::string_view::npos) throw DavError(400, "The If header can't be read.");
        std::string result(m_text.substr(0, end));
        m_text.remove_prefix(end + 1);
        return result;
    }

private:
    void skip_blanks() {
        while (!m_text.empty() && (m_text.front() == ' ' || m_text.front() == '\t')) m_text.remove_prefix(1);
    }
    std::string_view m_text;
};

}  // namespace

IfHeader IfHeader::parse(const std::string& text) {
    IfHeader header;
    Reader reader(text);
    std::string resource;
    while (!reader.at_end()) {
        if (reader.take('<')) {
            resource = reader.until('>');
            continue;
        }
        if (!reader.take('(')) throw DavError(400, "The If header can't be read.");
        ConditionList list{resource, {}};
        while (!reader.take(')')) {
            Condition condition;
            condition.negated = reader.take_word("Not");
            if (reader.take('<'))
                condition.token = reader.until('>');
            else if (reader.take('['))
                condition.etag = reader.until(']');
            else
                throw DavError(400, "The If header can't be read.");
            list.conditions.push_back(std::move(condition));
        }
        header.m_lists.push_back(std::move(list));
    }
    return header;
}

bool IfHeader::holds(const std::function<ResourceState(const std::string&)>& state_of) const {
    return m_lists.empty() || std::ranges::any_of(m_lists, [&](const ConditionList& list) {
               auto state = state_of(list.resource);
               return std::ranges::all_of(list.conditions, [&](const Condition& condition) {
                   bool met = condition.token.empty() ? condition.etag == state.etag
                                                      : condition.token == state.token;
                   return met != condition.negated;
               });
           });
}

bool IfHeader::submits(const std::string& token) const {
    return std::ranges::any_of(m_lists, [&](const ConditionList& list) {
        return std::ranges::any_of(list.conditions,
                                   [&](const Condition& condition) { return condition.token == token; });
    });
}

std::string IfHeader::first_token() const {
    for (const auto& list : m_lists)
        for (const auto& condition : list.conditions)
            if (!condition.token.empty()) return condition.token;
    return {};
}

}  // namespace devserver::dav
