#pragma once

/// The XML namespaces of the two generations of the project file.
namespace ProjectNamespaces {

inline constexpr char current[] = "http://zelta.example/Zelta/Project/2009/42";
inline constexpr char first[] = "http://zelta.example/Zelta/Project/2009";

} // namespace ProjectNamespaces
