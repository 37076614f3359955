#include "dav/if_header.h"

#include <algorithm>

#include "base/text.h"
#include "dav/dav_error.h"

namespace devserver::dav {
namespace {

class Reader {
public:
    explicit Reader(std::string_view text) : m_text(text) {}

    bool AtEnd() {
        SkipBlanks();
        return m_text.empty();
    }
    bool Take(char c) {
        SkipBlanks();
        if (m_text.empty() || m_text.front() != c) return false;
        m_text.remove_prefix(1);
        return true;
    }
    bool TakeWord(std::string_view word) {
        SkipBlanks();
        if (!StartsWithIgnoringCase(m_text, word)) return false;
        m_text.remove_prefix(word.size());
        return true;
    }
    std::string Until(char c) {
        auto end = m_text.find(c);
        if (end == std::string_view::npos) throw DavError(400, "The If header can't be read.");
        std::string result(m_text.substr(0, end));
        m_text.remove_prefix(end + 1);
        return result;
    }

private:
    void SkipBlanks() {
        while (!m_text.empty() && (m_text.front() == ' ' || m_text.front() == '\t')) m_text.remove_prefix(1);
    }
    std::string_view m_text;
};

}  // namespace

IfHeader IfHeader::Parse(const std::string& text) {
    IfHeader header;
    Reader reader(text);
    std::string resource;
    while (!reader.AtEnd()) {
        if (reader.Take('<')) {
            resource = reader.Until('>');
            continue;
        }
        if (!reader.Take('(')) throw DavError(400, "The If header can't be read.");
        ConditionList list{resource, {}};
        while (!reader.Take(')')) {
            Condition condition;
            condition.negated = reader.TakeWord("Not");
            if (reader.Take('<')) {
                condition.token = reader.Until('>');
            } else if (reader.Take('[')) {
                condition.etag = reader.Until(']');
            } else {
                throw DavError(400, "The If header can't be read.");
            }
            list.conditions.push_back(std::move(condition));
        }
        header.m_lists.push_back(std::move(list));
    }
    return header;
}

bool IfHeader::Holds(const std::function<ResourceState(const std::string&)>& state_of) const {
    return m_lists.empty() || std::ranges::any_of(m_lists, [&](const ConditionList& list) {
               auto state = state_of(list.resource);
               return std::ranges::all_of(list.conditions, [&](const Condition& condition) {
                   bool met = condition.token.empty() ? condition.etag == state.etag
                                                      : condition.token == state.token;
                   return met != condition.negated;
               });
           });
}

bool IfHeader::Submits(const std::string& token) const {
    return std::ranges::any_of(m_lists, [&](const ConditionList& list) {
        return std::ranges::any_of(list.conditions,
                                   [&](const Condition& condition) { return condition.token == token; });
    });
}

std::string IfHeader::FirstToken() const {
    for (const auto& list : m_lists) {
        for (const auto& condition : list.conditions)
            if (!condition.token.empty()) return condition.token;
    }
    return {};
}

}  // namespace devserver::dav
