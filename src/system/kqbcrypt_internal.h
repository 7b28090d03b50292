// Encryption at a chosen cost, for those who cannot wait.
#pragma once

#include "kqb/kqbstring.h"

// kqbEncryptString with a cost of KQS_CIPHER_LEAST_COST to KQS_CIPHER_MOST_COST.
bool kqbEncryptAtCost(KqbString const &text, KqbString const &passphrase, int cost,
                      KqbString *encrypted, KqbString *error);
