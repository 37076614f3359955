// Keeps the sentence of a failure that an operation hands to its error details. One thread at a time.
#pragma once

#include <string>

#include "base/scaffolding.h"
#include "hostapi/common.h"

class FailureText final : public cCoClassUnknownT<FailureText, TMK::ITMK_ErrorDetails> {
public:
    HRESULT put_Text(LPCWSTR text) override {
        m_text = text ? text : u"";
        return S_OK;
    }
    HRESULT Clear() override {
        m_text.clear();
        return S_OK;
    }
    std::u16string m_text;
};
