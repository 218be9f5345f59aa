/// \file
/// Marks what the shared library exports; everything without the mark stays hidden in it.
#pragma once

#if defined(_WIN32)
#if defined(NCCNET_BUILDING)
#define NCC_API __declspec(dllexport)
#else
#define NCC_API __declspec(dllimport)
#endif
#else
#define NCC_API __attribute__((visibility("default")))
#endif
