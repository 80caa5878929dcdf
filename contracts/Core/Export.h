#pragma once

/// Marks what a library of this project offers to others. Everything else is hidden.
#define TARSEL_CONTRACTS_EXPORT __attribute__((visibility("default")))
#define TARSEL_FILTERS_EXPORT __attribute__((visibility("default")))
#define TARSEL_HOST_EXPORT __attribute__((visibility("default")))
