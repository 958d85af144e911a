#include "nvimport/formats/Inflater.h"

namespace nvimport {

struct Inflater::Stream {};

bool Inflater::IsBuilt() { return false; }

Inflater::Inflater(Wrap) : failed_(true) {}

Inflater::~Inflater() = default;

std::size_t Inflater::Inflate(std::span<const char>&, std::span<char>) { return 0; }

struct Deflater::Stream {};

Deflater::Deflater() = default;

Deflater::~Deflater() = default;

std::size_t Deflater::Deflate(std::span<const char>&, bool, std::span<char>) { return 0; }

}  // namespace nvimport
