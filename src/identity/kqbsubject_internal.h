// The process-wide subject, as lists are drawn with it.
#pragma once

#include <memory>

struct dkSubject;

// The subject, kept alive as long as it is held; null when nobody signed on.
std::shared_ptr<dkSubject const> kqbCurrentSubject();

// For the end of the life cycle: nobody is signed on, and no server is named.
void kqbSubjectStop();

// The logger of this floor.
class KqLogger;
KqLogger *kqbIdentityLogger();
