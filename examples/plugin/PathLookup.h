// SPDX-License-Identifier: MIT
#pragma once

#include "PathConfig.h"

#include "lookup/config/KwLookupWithConfig.h"

#include <memory>
#include <string>

/// "path:TEMPLATE" matches when the file that the template names exists: with
/// path:/var/mail/$d/$u, the address jdoe@corp.lan is found when /var/mail/corp.lan/jdoe is there.
class PathLookup : public KwLookupWithConfig {
public:
    explicit PathLookup(const LogClass& log);

    void InitLog(const LogClass& log) override;
    const LogClass* GetLogPtr() const override;

    bool MakePreInit(boost::shared_ptr<IfConfParser> parser) override;
    void PostInit() override;

    void Init(const std::string& init_data) override;
    std::string GetDescription() const override;

    bool Find(const KwLookupFinder& finder, std::string* res, int flags,
              std::string* matched) const override;

protected:
    KwLookupSharedConf* CreateLocalConf() override;

private:
    bool Exists(const std::string& path) const;

    const LogClass* m_log;
    std::shared_ptr<PathConfig> m_type_conf; ///< what m_conf points to, or inherits from
    std::shared_ptr<PathConfig> m_loading;
    std::string m_template;
};
