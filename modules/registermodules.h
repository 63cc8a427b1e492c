#pragma once
// The one place that tells the catalogue about every module class of the build. A graph copies
// the registered creators when it is constructed, so this runs once at start, before the first
// graph (the product, a tool, a test) is built. Calling it again changes nothing.
//
// [host-thread]: takes the registry's lock; never from the audio thread.

void RegisterModules();
