#pragma once

namespace velmox {

// Whether the Secret Service's default collection, where QtKeychain keeps its items, is
// locked. libsecret reports an item it could not unlock (the unlock prompt was dismissed
// or could not be shown) as missing; this tells that apart from a real absence. False when
// the service cannot be asked. A blocking call on the session bus, callable from any thread.
bool secretServiceDefaultCollectionLocked();

} // namespace velmox
