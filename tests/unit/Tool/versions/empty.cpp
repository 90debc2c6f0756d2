// SPDX-License-Identifier: MIT
// Code for a library that is there for its resource only.
