#pragma once

namespace Korvel::Worker {

/** Whether it is a letter of a script that is written from right to left. */
bool IsRightToLeft(char32_t code);

/** Whether it is a letter of a script that is written from left to right. */
bool IsLeftToRight(char32_t code);

/** Whether it is of a script that has no spaces between words: Chinese, Japanese. */
bool IsIdeographic(char32_t code);

/** Whether it is a bracket of such a script that opens; white in front of it is its own. */
bool IsIdeographicBegin(char32_t code);

/** Whether it is a full stop, a comma or a bracket of such a script that ends something. */
bool IsIdeographicEnd(char32_t code);

/** Whether it is of a script of southern Asia, whose letters may stand below others or around them.
 */
bool IsBrahmic(char32_t code);

/** Whether it stands on, or hangs below, the letter before it. */
bool IsCombining(char32_t code);

/** The combining form of an accent that is drawn as a character of its own; 0 for none. */
char32_t CombiningFormOf(char32_t accent);

/** Whether it is one of ASCII that can be seen. */
bool IsPlain(char32_t code);

bool IsSpace(char32_t code);

/** Whether it is a letter's hyphen, however fonts call it. */
bool IsHyphen(char32_t code);

} // namespace Korvel::Worker
