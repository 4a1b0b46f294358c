// CF property lists made from libplist's nodes: what CFPropertyListCreateWithData reads.
#pragma once

#include <CoreFoundation/CFBase.h>

#include <plist/plist.h>

#include <string>

namespace plinth::sim::detail {

// The CF property list (one reference) for a parsed node: dictionaries, arrays,
// strings, data, integers (as SInt64 CFNumbers), reals (Float64), booleans.
// `mutability` is a CFPropertyListMutabilityOptions value: immutable objects,
// mutable containers, or mutable containers and strings and data. nullptr, with
// `problem` saying why, for a node no simulated CF type holds (a date, a UID).
CFPropertyListRef cf_from_plist(plist_t node, CFOptionFlags mutability, std::string& problem);

} // namespace plinth::sim::detail
