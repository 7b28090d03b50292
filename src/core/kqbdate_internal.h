// Process-wide date options: written by start-up, read by dates and variants.
#pragma once

struct KqbDateOptions {
    bool iso = false;           // ISO 8601 texts
    bool milliseconds = false;  // with milliseconds
    bool gmt = false;           // the present moment in UTC
};

KqbDateOptions &kqbDateOptions();
