# "Threads: ..." at the beginning of a comment's line is a paragraph of its own.
s:^( *(///|\*) )Threads. :\1\\par Threads\n\1:
