#pragma once

#include "framework/module/AtlSupport.h"

/// The library's string-code module: "DLLRC:116" is its text 116, in the language that its start found.
class CVWQ_StringCodeDll final : public IWQ_StringCodeModule {
public:
    std::wstring Prefix() override;
    std::wstring Text(const std::wstring& code) override;
};
