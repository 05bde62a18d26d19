num a = }
