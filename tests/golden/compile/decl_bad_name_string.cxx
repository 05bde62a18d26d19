string while
