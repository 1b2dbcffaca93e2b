// The files that make up the product's application bundle, and its preferences.
//
// Plain functions without shared state; any thread. They throw std::runtime_error or
// std::filesystem::filesystem_error when something cannot be written.
#pragma once

#include "SampleProduct.h"

namespace sample_product {

/// Info.plist, executable and helper.
void writeBundle(const SampleProduct &product, const std::string &version);
/// The desktop entry that starts the executable.
void writeDesktopEntry(const SampleProduct &product);
/// The product's own preference file and the crash reporter's.
void writePreferences(const SampleProduct &product, const SampleProductOptions &options);

} // namespace sample_product
