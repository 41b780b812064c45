#pragma once

// 1 where AddressSanitizer or ThreadSanitizer is built in: they bring a malloc of their own, and
// the program takes several times as long.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define IS_SANITIZED 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define IS_SANITIZED 1
#endif
#endif
#ifndef IS_SANITIZED
#define IS_SANITIZED 0
#endif

namespace Korvel::PDF::Test {

constexpr bool isSanitized = IS_SANITIZED != 0;

} // namespace Korvel::PDF::Test
