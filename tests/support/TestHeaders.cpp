// SPDX-License-Identifier: MIT
// A program for which the headers of all tests are precompiled.
int main() {}
