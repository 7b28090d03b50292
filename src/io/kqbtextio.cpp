#include "io/kqbtextio_internal.h"

namespace {

KqbTextIoFactory *installed = nullptr;  // changed by start-up and shutdown, on one thread

}  // namespace

KqbTextIoFactory *kqbTextIoFactory() { return installed; }

void kqbSetTextIoFactory(KqbTextIoFactory *factory) { installed = factory; }
