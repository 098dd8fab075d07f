// SPDX-License-Identifier: MIT
// What is included of it here needs nothing of it.
