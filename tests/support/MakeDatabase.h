// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <utility>
#include <vector>

/// Keys and values of any bytes, in the order of the file.
using Records = std::vector<std::pair<std::string, std::string>>;

/// Make the file `name` with the tool of its format, "cdb", "hash" or "btree". Pages have 512
/// bytes. Throws std::runtime_error if the tool fails.
void MakeKeyValueFile(const std::string& format, const std::string& name, const Records& records);

/// Run SQLite's tool on the database `name`. Throws std::runtime_error if it fails.
void RunSql(const std::string& name, const std::string& statements);

/// `bytes` as an SQL expression.
std::string SqlText(const std::string& bytes);
