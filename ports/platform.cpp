// Everything of this library comes from the folders utility and host; a shared library wants a source of its own.
