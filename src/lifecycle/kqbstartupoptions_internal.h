// Names of the staging registries, which start-up reads.
#pragma once

// FileCount first, then FilePrefix_0001 and so on, each a path as the host gave it.
inline constexpr char kKqbStagedFiles[] = ".@=Files=@.";

// The host's options.
inline constexpr char kKqbStagedOptions[] = ".@=CommandArgs=@.";
