#version 330 core

in vec2 uv;
out vec4 pixel;

uniform sampler2D image;
uniform sampler2D halo;
uniform float strength;
uniform vec4 tint;

void main() {
  vec4 color = texture(image, uv);
  vec3 light = strength * tint.rgb * texture(halo, uv).rgb;
  // Light on light never gets past white.
  pixel = vec4(1.0 - (1.0 - color.rgb) * exp(-light), color.a);
}
