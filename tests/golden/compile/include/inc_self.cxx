include "include\inc_self.cxx"
