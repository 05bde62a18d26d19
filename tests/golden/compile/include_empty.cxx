include ""
