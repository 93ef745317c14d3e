# Makes the folder `work` anew, with the inputs of the recipes where they are in the tree `source`.
file(REMOVE_RECURSE ${work})
file(COPY ${source}/examples/data DESTINATION ${work}/examples)
file(COPY ${source}/docs/colour-input.png DESTINATION ${work}/docs)
