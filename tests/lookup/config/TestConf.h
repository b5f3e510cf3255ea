// SPDX-License-Identifier: MIT
#pragma once

#include "lookup/config/KwLookupSharedConf.h"

#include <string>
#include <vector>

/// A configuration with a few parameters. Without a parent it is the type-wide one.
class TestConf : public KwLookupSharedConf {
public:
    explicit TestConf(const std::string& name = "test", const KwLookupSharedConf* parent = nullptr)
        : KwLookupSharedConf(name), m_parent(parent ? parent : this) {}

    std::vector<params_t> GetParams() const override {
        return {Param<int>("Port", port, &default_port), Param<std::string>("Host", host),
                Param<kwlookup::RawText>("Secret", secret, nullptr, true), Param<int>("", unnamed)};
    }
    const KwLookupSharedConf* GetGlobal() const override { return m_parent; }

    void PostInit() override {
        ++post_inits;
        KwLookupSharedConf::PostInit();
    }

    const int default_port = 389;
    int port = 1;
    std::string host;
    std::string secret;
    int unnamed = 0;
    int post_inits = 0;

private:
    const KwLookupSharedConf* m_parent;
};
