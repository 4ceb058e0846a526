/// The JSON library. An object that had no memory for its members must not be destroyed: the program ends before that.
#pragma once
#include <exception>
#define JSON_ASSERT(condition) ((condition) ? static_cast<void>(0) : std::terminate())
#include <nlohmann/json.hpp>
