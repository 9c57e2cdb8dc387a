#pragma once

// Everything is hidden in a shared library except what installed headers mark so: classes, functions and
// namespaces of functions. What is marked keeps one address for the library and its programs, as type
// information and the tags of members need.
#define QW_EXPORT [[gnu::visibility("default")]]
