#pragma once

// Whether a sanitizer is built in. Both bring a malloc of their own, reserve terabytes of address
// space, look at the process from one more thread and in ways that a filter would refuse, and make
// a program several times as slow.
#ifndef __has_feature // Clang's way to ask
#define __has_feature(feature) 0
#endif
#if defined(__SANITIZE_ADDRESS__) || __has_feature(address_sanitizer)
#define IS_ADDRESS_SANITIZED 1
#else
#define IS_ADDRESS_SANITIZED 0
#endif
#if defined(__SANITIZE_THREAD__) || __has_feature(thread_sanitizer)
#define IS_THREAD_SANITIZED 1
#else
#define IS_THREAD_SANITIZED 0
#endif
#define IS_SANITIZED (IS_ADDRESS_SANITIZED || IS_THREAD_SANITIZED)
