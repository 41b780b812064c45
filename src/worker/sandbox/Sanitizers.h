#pragma once

// 1 where AddressSanitizer or ThreadSanitizer is built in: they bring a malloc of their own,
// reserve terabytes of address space, and look at the process from one more thread and in ways that
// a filter would refuse.
#ifndef __has_feature // Clang's way to ask
#define __has_feature(feature) 0
#endif
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__) ||                               \
    __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define IS_SANITIZED 1
#else
#define IS_SANITIZED 0
#endif
