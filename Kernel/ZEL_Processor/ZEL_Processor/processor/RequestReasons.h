#pragma once

#include "ZEL_Processor/IWQ_ZELProcessorFactory.h"
#include "ZEL_Processor/ZelTypes.h"

#include <vector>

class CZelProcessorFactories;

/// Why a request failed, in words for its sender.
struct SRequestReasons {
    bool isWanted = false;
    CString taskError;            ///< of the task that could not be initialised last
    std::vector<CString> leftOut; ///< plug-ins that the host did not use, with the reasons
};

/// Why no factory took a request that can be read: what is wrong with its document, or the type that is not served,
/// with those that are, the nearest first, and the plug-ins that were left out, those of the host first. Empty when
/// nothing was found. Reads the file.
[[nodiscard]] CString WhyNotTaken(const CString& path, const CZelProcessorFactories& factories,
                                  const std::vector<CString>& leftOut = {});

/// The own words of a task or response for its failure; empty when it has none.
[[nodiscard]] CString OwnErrorText(IUnknown& object);
