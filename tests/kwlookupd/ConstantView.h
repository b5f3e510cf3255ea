// SPDX-License-Identifier: MIT
#pragma once

#include "tools/kwlookupd/doors/DaemonView.h"

#include <ctime>
#include <memory>
#include <string>
#include <utility>
#include <vector>

/// A daemon with two lists, "blocked" and "access", and one door, at one moment.
class ConstantView : public kwlookup::DaemonView {
public:
    static constexpr std::time_t NOW = 1'700'000'000; // Tue, 14 Nov 2023 22:13:20 GMT

    explicit ConstantView(const std::string& first = "blocked")
        : m_doors(MakeDoors(first)), m_metrics(m_doors, {first, "access"}, 1) {
        lists.resize(2);
        lists[0].name = first;
        lists[0].loaded = true;
        lists[0].records = 1'234'567;
        lists[0].generation = 3;
        lists[0].load_time = NOW - 60;
        lists[0].added = 12;
        lists[0].removed = 3;
        lists[0].kept = 1'234'555;
        lists[1].name = "access";
        whole.text = "a@example.com REJECT\nexample.org\n";
        whole.etag = "\"93ed2e7f7c6b7aea\"";
        whole.changed = NOW - 3600;
    }

    const std::vector<kwlookup::DoorConfig>& GetDoors() const override { return m_doors; }
    std::vector<kwlookup::ListState> GetLists() const override { return lists; }
    const kwlookup::Metrics& GetMetrics() const override { return m_metrics; }
    kwlookup::PluginStates GetPlugins() const override { return plugins; }
    std::time_t GetTime() const override { return NOW; }
    std::shared_ptr<const WholeList> GetWholeList(std::size_t list) const override {
        return lists.at(list).loaded ? std::make_shared<WholeList>(whole) : nullptr;
    }

    kwlookup::Metrics& GetCounters() { return m_metrics; }

    std::vector<kwlookup::ListState> lists;
    WholeList whole;
    kwlookup::PluginStates plugins;

private:
    static std::vector<kwlookup::DoorConfig> MakeDoors(const std::string& first) {
        kwlookup::DoorConfig door;
        door.name = "web";
        door.protocol = "http";
        door.addresses = {"127.0.0.1:8825"};
        door.lists = {{first, 0}, {"access", 1}};
        return {door};
    }

    const std::vector<kwlookup::DoorConfig> m_doors;
    kwlookup::Metrics m_metrics;
};
