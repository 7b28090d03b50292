// String encryption: secrets as texts that may be stored anywhere.
#pragma once

#include "kqb/kqbstring.h"

// An encrypted text is one line of ASCII that only the passphrase turns back, and that cannot be
// changed unnoticed. Each time a text is encrypted the result is another one.
//
//   KqbString stored, secret, error;
//   if (!kqbEncryptString("s3cret", passphrase, &stored, &error)) return complain(error);
//   if (!kqbDecryptString(stored, passphrase, &secret, &error)) return complain(error);
//
// What it stands on: the key is made of the passphrase by Argon2id (RFC 9106) with a random salt, the
// text is encrypted and authenticated by XChaCha20-Poly1305 with a random nonce. What it hides: the
// text, but not its length. A passphrase that is easy to guess stays so, only slower.
//
// Cost: making the key takes two passes over 64 MiB of memory, about a tenth of a second, whatever
// the length of the text, so that guessing passphrases is as dear for everybody. The memory is given
// back at once. Behind that a text costs about a nanosecond a byte.
//
// Format: base-64 (RFC 4648, padded) of these bytes
//   0       1   version of the format: 1
//   1       1   cost: the key takes two passes over 8 KiB << cost, 0 to 15 (13: the 64 MiB above)
//   2      16   salt
//   18     24   nonce
//   42      n   the text, encrypted
//   42+n   16   tag over all the bytes before
// so a text of n bytes becomes one of (n + 60) / 3 * 4 characters.
//
// Any thread may call; several at once take their memory each. The library must be initialised.

// Encrypts a text (null counts as empty) under a passphrase of one byte or more into *encrypted.
// False with *encrypted null and the reason in *error (may be null) when the passphrase is null or
// empty (message 1801 of "Base Services"), the cipher cannot be loaded (1804) or memory runs out
// (444).
KQB_API bool kqbEncryptString(KqbString const &text, KqbString const &passphrase,
                              KqbString *encrypted, KqbString *error = nullptr);

// Decrypts what kqbEncryptString made into *text, never null then. False with *text null and the
// reason in *error (may be null): as above; when encrypted is no such text or only a part of one
// (1802); and when the passphrase is another one or anything was changed, which cannot be told
// apart (1803). Nothing of a text that was changed ever comes out.
KQB_API bool kqbDecryptString(KqbString const &encrypted, KqbString const &passphrase,
                              KqbString *text, KqbString *error = nullptr);

// Overwrites a secret in memory and sets the string null. What other strings share stays theirs, and
// what a string borrows its owner's: null is then all that becomes of this one. The two functions
// above wipe what they keep on their way, but their results, and passphrases, are the caller's.
KQB_API void kqbWipeString(KqbString *text);
