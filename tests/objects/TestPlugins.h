// SPDX-License-Identifier: MIT
#pragma once

#include "objects/plugins/TestPlugin.h"

#include <string>
#include <vector>

class KwLookupHolder;

/// A plug-in library that this process has opened already; none when it has not.
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

/// What the dynamic loader says of a library that it cannot open.
std::string LoaderMessage(const std::string& file);

/// The errors collected since the last call. Forgets all recorded lines.
std::vector<std::string> TakeErrors();

/// The values that the lists and plug-ins of `holder` offer to a search, in order.
std::vector<std::string> Values(const KwLookupHolder& holder);
