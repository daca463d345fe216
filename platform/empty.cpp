// The shared library is made of the internal static library, linked whole.
