// SPDX-License-Identifier: MIT
#pragma once

#include "objects/plugins/TestPlugin.h"

#include <string>
#include <vector>

class KwLookupHolder;

/// A plug-in library, if this process has opened it already.
class LoadedPlugin {
public:
    explicit LoadedPlugin(const std::string& type);
    ~LoadedPlugin();
    LoadedPlugin(const LoadedPlugin&) = delete;
    LoadedPlugin& operator=(const LoadedPlugin&) = delete;

    explicit operator bool() const { return m_handle != nullptr; }
    const PluginCounts& GetCounts() const;

private:
    void* m_handle;
};

/// Returns the dynamic loader's message for a library that it cannot open.
std::string LoaderMessage(const std::string& file);

/// Returns the errors collected since the last call. Clears all recorded lines.
std::vector<std::string> TakeErrors();

/// Returns the values that `holder` passes to Match() in a search, in order.
std::vector<std::string> Values(const KwLookupHolder& holder);
