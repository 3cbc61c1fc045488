// SPDX-License-Identifier: BSD-3-Clause
// A program of objects that are linked for the sake of linking them.
int main() {}
