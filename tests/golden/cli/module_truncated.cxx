// Names the case: a module of five bytes has no room for a package trailer.
