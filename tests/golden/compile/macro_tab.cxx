define	TAB 1
