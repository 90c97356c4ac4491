#version 330 core

in vec2 uv;
out vec4 pixel;

uniform sampler2D image;
uniform float threshold;

// What is brighter than the threshold.
void main() {
  vec4 color = texture(image, uv);
  float light = max(max(color.r, color.g), color.b);
  pixel = vec4(color.rgb * smoothstep(threshold, threshold + 0.25, light), color.a);
}
