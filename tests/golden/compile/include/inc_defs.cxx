num shared = 5
num helper(num x) { return x * 2 }
end
this is never read
