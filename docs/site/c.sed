# Types have one name each, and "// Files." and the like begin a group of declarations.
s:^// (Files|Meshes|Sets|Fields|Systems)\.$:/** @} */\n/** @defgroup pdm_\1 \1\n@{ */:
s:^// (Surfaces|The last failure|Reading and writing)\b.*:/** @} */\n/** @defgroup pdm_\1 \1\n@{ */:
s:pdm_The last failure The last failure:pdm_Failures Failures:
s:pdm_Reading and writing Reading and writing:pdm_Typed Typed:
s:^typedef (enum|struct) (pdm_\w+) \{:\1 \2 {:
s:^\} pdm_\w+;:};:
s:^typedef struct pdm_sim pdm_sim;:/** @defgroup pdm_Types Types\n@{ */\n&:
s:^PDM_TYPED\(double.*:&\n/** @} */:
