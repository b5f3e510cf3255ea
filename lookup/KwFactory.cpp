// SPDX-License-Identifier: MIT
#include "lookup/KwFactory.h"

#include "lookup/KwIfLookup.h"

template <typename T>
KwFactory<T>* KwFactory<T>::m_instance = nullptr;

template <typename T>
KwFactory<T>& KwFactory<T>::Instance() {
    if (!m_instance)
        m_instance = new KwFactory;
    return *m_instance;
}

template <typename T>
bool KwFactory<T>::Register(const std::string& name, Creator creator) {
    m_creators.emplace(name, creator);
    return true;
}

template <typename T>
auto KwFactory<T>::Lookup(const std::string& name) const -> const Creator* {
    const auto found = m_creators.find(name);
    return found == m_creators.end() ? nullptr : &found->second;
}

template <typename T>
std::vector<std::string> KwFactory<T>::GetNames() const {
    std::vector<std::string> names;
    for (const auto& entry : m_creators)
        names.push_back(entry.first);
    return names;
}

template class KwFactory<KwIfLookup>;
