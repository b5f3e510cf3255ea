// SPDX-License-Identifier: MIT
#pragma once

#include "host/IfConfLoader.h"
#include "objects/reload_plugins/ReloadPlugin.h"

#include <functional>
#include <string>
#include <vector>

/// A host's loader that records its calls and behaves as a test wants.
class ScriptedLoader : public IfConfLoader {
public:
    /// `name` is put before each recorded call.
    explicit ScriptedLoader(std::vector<std::string>& calls, const std::string& name = "")
        : m_calls(calls), m_name(name) {}
    ~ScriptedLoader() override { Record("gone"); }

    std::string GetDescription() const override { return "scripted"; }
    bool LoadSection(int instance, const std::string& section, int index,
                     const std::string& subsection, int options, InterfaceConfHolder* holder,
                     const LogClass& log) override;
    void ReleaseLoader() override;
    void PrepareLoad() override;
    bool AcquireLoader() override;

    bool acquired = true;
    bool section_is_good = true;
    /// Runs after a call of the operation of that name ("acquire", "prepare", "load lookup_TYPE",
    /// "release") was recorded.
    std::function<void(const std::string& operation)> on_call;
    InterfaceConfHolder* last_holder = nullptr;
    const LogClass* last_log = nullptr;

private:
    void Record(const std::string& operation);
    void Call(const std::string& operation);

    std::vector<std::string>& m_calls;
    std::string m_name;
};

/// Returns the state of the plug-in library for `type`. Opens the library if necessary.
ReloadPluginState& StateOf(const std::string& type);
