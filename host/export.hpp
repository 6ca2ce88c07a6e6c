// Symbol visibility of the host framework. Everything is hidden by default; the host API and the
// types whose identity must be shared across the module/host boundary (exceptions, classes with
// virtual tables) are marked NRW_API.
#pragma once

#define NRW_API __attribute__((visibility("default")))
