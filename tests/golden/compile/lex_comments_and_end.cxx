# a block comment
spanning lines #
num a = 1 // trailing
num main() { return a } // last
end
this text is never compiled } } ;
